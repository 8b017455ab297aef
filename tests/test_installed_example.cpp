// The widgets example as a user gets it: installed into a prefix and started from its launcher
// by an unprivileged account (uid 65534) in a fresh home, its hits at the collector that its
// packaged configuration names (127.0.0.1:8080), its files private in its own sandbox.
#include "LoopbackTest.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

static const int NOBODY = 65534;

static int run(const std::string &command) {
    return std::system(command.c_str());
}

// The first line that the command printed.
static std::string firstLine(const std::string &command) {
    FILE *out = popen(command.c_str(), "r");
    char line[256] = "";
    if (out == nullptr)
        return std::string();
    if (fgets(line, sizeof(line), out) == nullptr)
        line[0] = '\0';
    pclose(out);
    return std::string(line, strcspn(line, "\n"));
}

static std::string shellWord(const std::string &text) {
    return "'" + text + "'";
}

struct Status {
    unsigned mode = 0;
    unsigned uid = 0;
};
static Status statusOf(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return Status();
    return Status{status.st_mode & 07777u, status.st_uid};
}

class InstalledExample : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root starts the example as another account";
        ASSERT_TRUE(server.start()) << "127.0.0.1:8080 is taken";
        // Orphans come back to this process: gio leaves the example behind it.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        prefix = dir.file("prefix").toStdString();
        home = dir.file("home").toStdString();
        ASSERT_EQ(run("cmake --install " KEO_BUILD_DIR " --component examples --prefix " +
                      shellWord(prefix) + " >/dev/null"),
                  0);
        // The account reaches the prefix, and has a home of its own with its display's key.
        chmod(dir.path().toUtf8().constData(), 0755);
        ASSERT_EQ(mkdir(home.c_str(), 0700), 0);
        const char *key = getenv("XAUTHORITY");
        if (key != nullptr)
            QFile::copy(QString::fromLocal8Bit(key), QString::fromStdString(home + "/.Xauthority"));
        ASSERT_EQ(run("chown -R 65534:65534 " + shellWord(home)), 0);
        // Under the sanitizers the account's example reads their suppressions from the prefix,
        // where it can: the example built with them leaks what libdbus keeps to the end.
        QFile::copy(KEO_LSAN_SUPP, QString::fromStdString(prefix + "/lsan.supp"));
        sanitizers = " LSAN_OPTIONS=suppressions=" + shellWord(prefix + "/lsan.supp");
        for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS"})
            if (getenv(name) != nullptr)
                sanitizers += std::string(" ") + name + "=" + shellWord(getenv(name));
        run("openbox --startup \"touch " + dir.file("wm-ready").toStdString() + "\" &");
        waitFor([&] { return dir.exists("wm-ready"); }, std::chrono::seconds(10));
    }

    // Starts the example from its launcher as the account, from its home as a desktop does,
    // with extra environment; returns once its window shows.
    void launch(const std::string &environment = std::string()) {
        const std::string display = getenv("DISPLAY") ? getenv("DISPLAY") : ":0";
        ASSERT_EQ(
            run("cd " + shellWord(home) +
                " && setpriv --reuid=65534 --regid=65534 --clear-groups env -i PATH=/usr/bin:/bin"
                " HOME=" +
                shellWord(home) + " DISPLAY=" + display +
                " XAUTHORITY=" + shellWord(home + "/.Xauthority") + " QT_XCB_GL_INTEGRATION=none" +
                sanitizers + " " + environment + " gio launch " +
                shellWord(prefix + "/share/applications/keo-widgets-example.desktop")),
            0);
        window = firstLine("timeout 20 xdotool search --sync --onlyvisible --name "
                           "'^KEO Widgets Example$'");
        ASSERT_FALSE(window.empty());
        pid = std::atoi(firstLine("xdotool getwindowpid " + window).c_str());
        ASSERT_GT(pid, 0);
    }

    // Alt+F4 to the window manager; the example ends with status 0.
    void close() {
        run("timeout 20 xdotool windowactivate --sync " + window + " key alt+F4");
        int status = -1;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_EQ(status, 0);
    }

    // Waits for the next hit and checks its pairs.
    void expectHit(const char *pairs) {
        ASSERT_TRUE(server.waitForHits(++received, std::chrono::seconds(15)))
            << "received " << server.count() << " of " << received;
        SCOPED_TRACE("hit " + std::to_string(received));
        expectPairs(server.hits()[received - 1], pairs);
    }

    // Directories 0700 and files 0600 under root, all the account's.
    void expectPrivate(const std::string &root) {
        for (const char *directory : {"", "/data", "/app", "/app/native"}) {
            const Status status = statusOf(root + directory);
            EXPECT_EQ(status.mode, 0700u) << root << directory;
            EXPECT_EQ(status.uid, static_cast<unsigned>(NOBODY)) << root << directory;
        }
        for (const char *file :
             {"/data/KEOAnalyticsCache.sqlite", "/data/KEOAnalyticsCache.sqlite-wal",
              "/data/KEOAnalyticsCache.sqlite-shm", "/data/KEOAnalyticsCache.sqlite.lock",
              "/data/KEOPreferences.json", "/app/native/KEOMobileConfig.json",
              "/app/native/bar-descriptor.xml"}) {
            const Status status = statusOf(root + file);
            EXPECT_EQ(status.mode, 0600u) << root << file;
            EXPECT_EQ(status.uid, static_cast<unsigned>(NOBODY)) << root << file;
        }
    }

    WorkDir dir;
    collector::Collector server{8080};
    std::string prefix, home, window, sanitizers;
    pid_t pid = 0;
    size_t received = 0;
};

TEST_F(InstalledExample, StartedFromItsLauncherByAnotherAccountItMeasuresItselfInItsOwnSandbox) {
    launch();
    expectHit("pev2=KEOINTERNAL:Lifecycle; a.InstallEvent=InstallEvent; "
              "a.AppID=KEO Widgets Example (1.0)");
    expectHit("pageName=Home; example.page.index=1");
    EXPECT_EQ(QFile::symLinkTarget(QString("/proc/%1/cwd").arg(pid)).toStdString(), home);
    const std::string root = home + "/.local/share/KEOMobile/KEO Widgets Example";
    expectPrivate(root);
    // Another account reads nothing of it.
    EXPECT_NE(run("setpriv --reuid=65533 --regid=65533 --clear-groups cat " +
                  shellWord(root + "/data/KEOAnalyticsCache.sqlite") + " >/dev/null 2>&1"),
              0);
    close();

    std::this_thread::sleep_for(std::chrono::milliseconds(2500)); // past the session's timeout
    launch();
    expectHit("a.LaunchEvent=LaunchEvent; a.Launches=2; a.CrashEvent=<missing>");
    expectHit("pageName=Home; example.page.index=1");
    close();

    // Flatpak gives the application a data home of its own: the sandbox follows it.
    const std::string flatpak = home + "/.var/app/org.keomobile.WidgetsExample/data";
    launch("XDG_DATA_HOME=" + shellWord(flatpak));
    expectHit("a.InstallEvent=InstallEvent; a.Launches=1");
    expectHit("pageName=Home; example.page.index=1");
    close();
    expectPrivate(flatpak + "/KEOMobile/KEO Widgets Example");
    EXPECT_EQ(server.count(), received);
}
