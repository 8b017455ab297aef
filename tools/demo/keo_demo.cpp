// keo-demo: a demo application and a loopback collector in one process. It prepares a fresh
// working directory whose configuration points at the collector, plays a scripted session
// through the library's public interface, shows every hit as it arrives, and ends with a
// summary. Exit status 0 only when every hit the library stored arrived.
#include "Collector.h"
#include "Console.h"
#include "DemoScript.h"
#include "HitView.h"
#include "QueueReport.h"

#include <bb/cascades/Application.hpp>

#include <ftw.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

const char *kUsage =
    "usage: keo-demo [--dir DIR] [--plain|--colour] [--linger SECONDS] [STEP...]\n"
    "Prepares DIR (default ./demo-run, made afresh each run) as the application's working\n"
    "directory, starts a loopback collector on 127.0.0.1, plays the steps and shows each hit as\n"
    "it arrives, here and live in a browser at the view's address printed first. --linger keeps\n"
    "the collector and its view serving for SECONDS after the summary.\n"
    "STEP: launch screens location media offline background relaunch (default: all, in that\n"
    "order; background needs launch, relaunch needs background, and these are added).\n"
    "Exit 0 only when every hit the library stored arrived and the table is empty.\n";

const char *kMarker = ".keo-demo-run";
const char *kDbRelative = "data/KEOAnalyticsCache.sqlite";

int removeEntry(const char *path, const struct stat *, int, struct FTW *) {
    return std::remove(path);
}

bool exists(const std::string &path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

bool writeFile(const std::string &path, const std::string &content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return static_cast<bool>(out);
}

// A fresh working directory as the platform gives an application: app/native read by the
// library, data/ writable. Only a directory this program made before is ever removed.
bool prepareDirectory(const std::string &dir, int port, std::string &problem) {
    if (exists(dir)) {
        if (!exists(dir + "/" + kMarker)) {
            problem = dir + " exists and was not made by keo-demo; choose another --dir";
            return false;
        }
        nftw(dir.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    for (const std::string &sub :
         {std::string(), std::string("/app"), std::string("/app/native"), std::string("/data")}) {
        if (mkdir((dir + sub).c_str(), 0755) != 0 && errno != EEXIST) {
            problem = "can't create " + dir + sub;
            return false;
        }
    }
    const std::string config = "{\n"
                               "  \"version\": \"1.0\",\n"
                               "  \"analytics\": {\n"
                               "    \"rsids\": \"demo.suite1,demo.suite2\",\n"
                               "    \"server\": \"127.0.0.1:" +
                               std::to_string(port) +
                               "\",\n"
                               "    \"charset\": \"UTF-8\",\n"
                               "    \"ssl\": false,\n"
                               "    \"offlineEnabled\": true,\n"
                               "    \"lifecycleTimeout\": " +
                               std::to_string(keodemo::kDemoSessionTimeout) +
                               ",\n"
                               "    \"batchLimit\": 50,\n"
                               "    \"privacyDefault\": \"optedin\",\n"
                               "    \"poi\": [[\"Demo HQ\", 45.5017, -73.5673, 200],\n"
                               "            [\"Harbour front\", 43.6387, -79.3817, 500]]\n"
                               "  }\n"
                               "}\n";
    const std::string descriptor = "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"no\"?>\n"
                                   "<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\">\n"
                                   "  <id>com.example.keodemo</id>\n"
                                   "  <name>KEO Demo</name>\n"
                                   "  <versionNumber>1.0.0</versionNumber>\n"
                                   "</qnx>\n";
    if (!writeFile(dir + "/" + kMarker, "made by keo-demo; removed by its next run\n") ||
        !writeFile(dir + "/app/native/KEOMobileConfig.json", config) ||
        !writeFile(dir + "/app/native/bar-descriptor.xml", descriptor)) {
        problem = "can't write the files of " + dir;
        return false;
    }
    return true;
}

std::string absolute(const std::string &path) {
    if (!path.empty() && path[0] == '/')
        return path;
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof(cwd)))
        return path;
    return std::string(cwd) + "/" + path;
}

std::string selfExecutable() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0)
        return std::string();
    path[length] = '\0';
    return path;
}

int runDemo(int argc, char **argv, const std::string &dir, bool colour, long lingerSeconds,
            const std::vector<keodemo::Step> &steps) {
    keodemo::Console console(colour);
    const keodemo::Palette &p = console.palette();

    collector::Collector server;
    std::atomic<size_t> arrived{0};
    server.onHit = [&](const collector::Hit &hit) { console.hit(hit, ++arrived); };
    if (!server.start()) {
        std::cerr << "keo-demo: can't start the collector on 127.0.0.1\n";
        return 1;
    }
    std::string problem;
    if (!prepareDirectory(dir, server.port(), problem)) {
        std::cerr << "keo-demo: " << problem << "\n";
        return 1;
    }
    // The library reads the working directory when its first singleton is made.
    if (chdir(dir.c_str()) != 0) {
        std::cerr << "keo-demo: can't enter " << dir << "\n";
        return 1;
    }
    const std::string db = dir + "/" + kDbRelative;
    bb::cascades::Application app(argc, argv);
    keodemo::setDemoDevice();

    console.raw(std::string(p.bold) + "KEOMobile demo" + p.reset + "\n   collector   " +
                server.baseServer() + " (in this process)\n   view        " + server.viewUrl() +
                " (every hit live, in a browser on this machine)" + "\n   working dir " + dir +
                "\n   config      app/native/KEOMobileConfig.json: report suites "
                "demo.suite1,demo.suite2, offline tracking on, session timeout " +
                std::to_string(keodemo::kDemoSessionTimeout) +
                " s,\n               points of interest \"Demo HQ\" and \"Harbour front\"\n"
                "   each hit below: its top-level pairs, then its context tree (c.)\n");

    keodemo::DemoScript script(console, server, db);
    const std::string self = selfExecutable();
    for (keodemo::Step step : steps)
        script.run(step, self);

    // Everything queued must have left the table and arrived, each at least once.
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    keodemo::QueueSnapshot queue;
    keodemo::Receipts receipts;
    for (;;) {
        queue = keodemo::readQueue(db);
        receipts = keodemo::tally(server.hits());
        const bool settled = queue.ok && queue.rows.empty() &&
                             receipts.distinct >= static_cast<size_t>(queue.everQueued);
        if (settled || std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(100ms);
    }
    // A lingering collector serves on without a break, so that an open view stays connected.
    if (lingerSeconds == 0)
        server.stop();

    const long long sent = queue.ok ? queue.everQueued : 0;
    bool ok = !script.troubled() && queue.ok && queue.rows.empty() &&
              receipts.distinct == static_cast<size_t>(sent) && receipts.malformed == 0;
    std::string kinds;
    for (int k = 0; k < keodemo::kHitKindCount; ++k) {
        const auto kind = static_cast<keodemo::HitKind>(k);
        const int got = receipts.perKind[k];
        bool kindOk;
        std::string shown = std::to_string(got);
        if (kind == keodemo::HitKind::Media) {
            kindOk = script.mediaRan() ? got > 0 : got == 0;
        } else if (kind == keodemo::HitKind::Other) {
            kindOk = got == 0;
            if (got == 0)
                continue;
        } else {
            kindOk = got == script.expected()[k];
            shown += "/" + std::to_string(script.expected()[k]);
        }
        ok = ok && kindOk;
        if (!kinds.empty())
            kinds += "  ";
        kinds += std::string(kindOk ? "" : p.bad) + keodemo::kindName(kind) + " " + shown +
                 (kindOk ? "" : p.reset);
    }
    std::string summary = "\n" + std::string(p.bold) + "== Summary ==" + p.reset + "\n";
    summary += "   hits sent      " + std::to_string(sent) +
               "  (rows the library stored in HITS, both processes)\n";
    summary += "   hits received  " + std::to_string(receipts.distinct) + "  (" +
               std::to_string(receipts.total - receipts.distinct) + " duplicates, " +
               std::to_string(receipts.malformed) + " malformed)\n";
    summary += "   by kind        " + kinds + "\n";
    summary += "   queue          " +
               (queue.ok ? (queue.rows.empty() ? std::string("empty")
                                               : std::to_string(queue.rows.size()) +
                                                     " hits still waiting (keo-queue " + dir + ")")
                         : queue.error) +
               "\n";
    if (ok)
        summary +=
            std::string("   ") + p.good + "OK: every hit the demo sent arrived" + p.reset + "\n";
    else
        summary += std::string("   ") + p.bad + "FAILED: not everything the demo sent arrived" +
                   p.reset + "\n";
    console.raw(summary);
    if (lingerSeconds > 0) {
        console.raw("   view stays at " + server.viewUrl() + " for " +
                    std::to_string(lingerSeconds) + " s\n");
        std::this_thread::sleep_for(std::chrono::seconds(lingerSeconds));
        server.stop();
    }
    return ok ? 0 : 1;
}

int runSecond(int argc, char **argv, bool colour) {
    // Ends with the demo that started it, so that nothing is left behind.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    keodemo::Console console(colour, "[second process] ");
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof(cwd)))
        return 1;
    bb::cascades::Application app(argc, argv);
    return keodemo::runSecondProcess(console, std::string(cwd) + "/" + kDbRelative);
}

} // namespace

int main(int argc, char **argv) {
    std::string dir = "demo-run";
    bool colour = isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    bool second = false;
    bool chosen[keodemo::kStepCount] = {};
    bool anyChosen = false;
    long lingerSeconds = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        keodemo::Step step;
        if (arg == "--dir" && i + 1 < argc) {
            dir = argv[++i];
        } else if (arg == "--linger" && i + 1 < argc) {
            char *end = nullptr;
            lingerSeconds = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || lingerSeconds < 0 || lingerSeconds > 86400) {
                std::cerr << "keo-demo: --linger takes seconds, 0 to 86400\n" << kUsage;
                return 2;
            }
        } else if (arg == "--plain") {
            colour = false;
        } else if (arg == "--colour") {
            colour = true;
        } else if (arg == "--second-process") {
            second = true;
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (keodemo::stepFromWord(arg, step)) {
            chosen[static_cast<int>(step)] = true;
            anyChosen = true;
        } else {
            std::cerr << "keo-demo: unknown argument " << arg << "\n" << kUsage;
            return 2;
        }
    }
    if (second)
        return runSecond(argc, argv, colour);

    const int relaunch = static_cast<int>(keodemo::Step::Relaunch);
    const int background = static_cast<int>(keodemo::Step::Background);
    const int launch = static_cast<int>(keodemo::Step::Launch);
    if (chosen[relaunch])
        chosen[background] = true;
    if (chosen[background])
        chosen[launch] = true;
    std::vector<keodemo::Step> steps;
    for (int i = 0; i < keodemo::kStepCount; ++i)
        if (!anyChosen || chosen[i])
            steps.push_back(static_cast<keodemo::Step>(i));
    return runDemo(argc, argv, absolute(dir), colour, lingerSeconds, steps);
}
