#include "LifecycleLab.h"

#include "KEOLifecycle.h"
#include "KEOMobile.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <set>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace {

const char *const kFakeTimeLibrary = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";
const char *const kChildTest = "LifecycleChild.RunSteps";
const char *const kStepsVariable = "KEO_LIFECYCLE_STEPS";
const char *const kSnapshotsVariable = "KEO_LIFECYCLE_SNAPSHOTS";
const char *const kClockFile = "lifecycle-clock";

// --- Child side ------------------------------------------------------------------------

// Freezes libfaketime's clock at `when` and checks that the process sees it, so that a
// child that runs without the preload fails instead of testing the real clock.
void setClock(const QString &when) {
    QString wallTime = when;
    bool isEpoch = false;
    const long long epoch = when.toLongLong(&isEpoch);
    if (isEpoch) {
        const time_t seconds = static_cast<time_t>(epoch);
        struct tm local;
        localtime_r(&seconds, &local);
        char text[32];
        strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
        wallTime = QString::fromLatin1(text);
    }
    // Written aside and renamed, so that a thread reading the clock meanwhile never sees a
    // half-written file.
    const QString temporary = QString(kClockFile) + ".new";
    QFile file(temporary);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(wallTime.toLatin1() + "\n");
    file.close();
    ASSERT_EQ(rename(temporary.toLatin1().constData(), kClockFile), 0);

    if (isEpoch)
        ASSERT_EQ(QDateTime::currentMSecsSinceEpoch() / 1000, epoch) << "clock not faked";
    else
        ASSERT_EQ(QDateTime::currentDateTime().toString("yyyy-MM-dd hh:mm:ss"), wallTime)
            << "clock not faked";
}

int storedHits() {
    sqlite3 *db = nullptr;
    int rows = 0;
    if (sqlite3_open_v2("data/KEOAnalyticsCache.sqlite", &db, SQLITE_OPEN_READONLY, nullptr) ==
        SQLITE_OK) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(db, "SELECT COUNT(*) FROM HITS", -1, &statement, nullptr) ==
                SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            rows = sqlite3_column_int(statement, 0);
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return rows;
}

// Waits (by the real, monotonic clock) until the worker has delivered every stored hit.
void drainHits() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (storedHits() > 0) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "hits not delivered";
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void appendSnapshot(const QString &snapshots, const QString &step) {
    QFile prefsFile("data/KEOPreferences.json");
    QByteArray prefs = "{}";
    if (prefsFile.open(QIODevice::ReadOnly))
        prefs = QJsonDocument::fromJson(prefsFile.readAll()).toJson(QJsonDocument::Compact);
    QFile out(snapshots);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Append));
    out.write(step.toUtf8() + "\t" + prefs + "\n");
}

void runStep(const QString &step, const QString &snapshots) {
    QString action = step;
    const int at = step.indexOf('@');
    if (at >= 0) {
        action = step.left(at);
        setClock(step.mid(at + 1));
    }
    if (action == "start") {
        KEOLifecycle::start();
    } else if (action == "stop") {
        KEOLifecycle::stop();
    } else if (action == "collect") {
        KEOMobile::collectLifecycleData();
    } else if (action == "awake") {
        EXPECT_TRUE(desktop::emitAwake());
    } else if (action == "asleep") {
        EXPECT_TRUE(desktop::emitAsleep());
    } else if (action == "kill") {
        drainHits();
        appendSnapshot(snapshots, step);
        fflush(nullptr);
        kill(getpid(), SIGKILL);
    } else if (action != "clock") {
        ADD_FAILURE() << "unknown step " << step.toStdString();
    }
    appendSnapshot(snapshots, step);
}

// --- Parent side -----------------------------------------------------------------------

QByteArray readAll(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool overridden(const char *entry) {
    static const char *const names[] = {
        "LD_PRELOAD=", "FAKETIME", "TZ=", "ASAN_OPTIONS=", "KEO_LIFECYCLE_", "GTEST_"};
    for (const char *name : names)
        if (strncmp(entry, name, strlen(name)) == 0)
            return true;
    return false;
}

// The child's entry. Registered only in a child, so that test discovery never lists it.
class ChildSteps : public testing::Test {
public:
    void TestBody() override {
        static int argc = 1;
        static char name[] = "lifecycle-child";
        static char *argv[] = {name, nullptr};
        // Never destroyed: the child ends with _exit below.
        new bb::cascades::Application(argc, argv);

        const QString snapshots = QString::fromUtf8(getenv(kSnapshotsVariable));
        for (const QString &step : QString::fromUtf8(getenv(kStepsVariable)).split('\n')) {
            runStep(step, snapshots);
            if (HasFatalFailure())
                break;
        }
        drainHits();
        fflush(nullptr);
        // Without static destructors: the library's worker may still be winding down.
        _exit(HasFailure() ? 1 : 0);
    }
};

const bool childRegistered =
    getenv(kStepsVariable) != nullptr && getenv(kSnapshotsVariable) != nullptr &&
    (testing::RegisterTest("LifecycleChild", "RunSteps", nullptr, nullptr, __FILE__, __LINE__,
                           []() -> testing::Test * { return new ChildSteps; }),
     true);

} // namespace

const std::string kAbsent = "<absent>";

QVariantMap ChildRun::after(const QString &step) const {
    const int index = steps.indexOf(step);
    return index >= 0 && index < prefs.size() ? prefs.at(index) : QVariantMap();
}

std::vector<collector::DecodedHit> ChildRun::lifecycleHits() const {
    std::vector<collector::DecodedHit> found;
    for (const collector::DecodedHit &hit : hits)
        if (hit.var("pev2") == std::optional<std::string>("KEOINTERNAL:Lifecycle"))
            found.push_back(hit);
    return found;
}

LifecycleLab::LifecycleLab(const QString &version, const QString &extraConfig) {
    if (!_collector.start()) {
        ADD_FAILURE() << "collector did not start";
        return;
    }
    _dir.writeConfig(QString::fromStdString(_collector.baseServer()), false, extraConfig);
    _dir.writeDescriptor("Lab", version);
}

QVariantMap LifecycleLab::prefs() const {
    return QJsonDocument::fromJson(_dir.read("data/KEOPreferences.json")).object().toVariantMap();
}

void LifecycleLab::setVersion(const QString &version) {
    _dir.writeDescriptor("Lab", version);
}

ChildRun LifecycleLab::run(const QStringList &steps, const QString &timeZone) {
    ChildRun result;
    result.steps = steps;
    ++_runs;
    const QString snapshots = _dir.file(QString("lifecycle-run-%1.steps").arg(_runs));
    const QString log = _dir.file(QString("lifecycle-run-%1.log").arg(_runs));
    _dir.write(kClockFile, "2026-03-07 09:30:00\n");
    const size_t hitsBefore = _collector.count();

    std::vector<std::string> environment;
    for (char **entry = environ; *entry != nullptr; ++entry)
        if (!overridden(*entry))
            environment.push_back(*entry);
    const char *asanOptions = getenv("ASAN_OPTIONS");
    // Under AddressSanitizer the preloaded library comes before the sanitizer's runtime.
    environment.push_back(std::string("ASAN_OPTIONS=") +
                          (asanOptions ? std::string(asanOptions) + ":" : std::string()) +
                          "verify_asan_link_order=0");
    environment.push_back(std::string("LD_PRELOAD=") + kFakeTimeLibrary);
    environment.push_back("FAKETIME_TIMESTAMP_FILE=" + _dir.file(kClockFile).toStdString());
    environment.push_back("FAKETIME_NO_CACHE=1");
    // Timers, time-outs and sleeps keep running by the real clock.
    environment.push_back("FAKETIME_DONT_FAKE_MONOTONIC=1");
    environment.push_back("TZ=" + timeZone.toStdString());
    environment.push_back(std::string(kStepsVariable) + "=" + steps.join('\n').toStdString());
    environment.push_back(std::string(kSnapshotsVariable) + "=" + snapshots.toStdString());
    std::vector<char *> envp;
    for (std::string &entry : environment)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (length <= 0) {
        ADD_FAILURE() << "cannot find the test binary";
        return result;
    }
    self[length] = '\0';
    std::string filter = std::string("--gtest_filter=") + kChildTest;
    char *argv[] = {self, filter.data(), nullptr};

    const std::string logPath = log.toStdString();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, self, &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start the child: " << strerror(spawned);
        return result;
    }

    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            ADD_FAILURE() << "child did not finish within 20 s";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    result.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.output = QString::fromUtf8(readAll(log));

    for (const QByteArray &line : readAll(snapshots).split('\n')) {
        const int tab = line.indexOf('\t');
        if (tab < 0)
            continue;
        result.prefs.append(QJsonDocument::fromJson(line.mid(tab + 1)).object().toVariantMap());
    }
    const std::vector<collector::Hit> hits = _collector.hits();
    for (size_t i = hitsBefore; i < hits.size(); ++i)
        result.hits.push_back(hits[i].decoded);
    return result;
}

std::string ctx(const collector::DecodedHit &hit, const std::string &key) {
    const std::optional<std::string> value = hit.ctx(key);
    return value ? *value : kAbsent;
}

static void collectKeys(const collector::ContextNode &node, const std::string &prefix,
                        std::vector<std::string> &keys) {
    for (const auto &[name, child] : node.children) {
        const std::string path = prefix.empty() ? name : prefix + "." + name;
        if (child.hasValue)
            keys.push_back(path);
        collectKeys(child, path, keys);
    }
}

std::vector<std::string> lifecycleKeys(const collector::DecodedHit &hit) {
    static const std::set<std::string> everyHit = {"a.internal", "a.Resolution", "a.DeviceName",
                                                   "a.OSVersion", "a.CarrierName"};
    std::vector<std::string> all;
    collectKeys(hit.context, std::string(), all);
    std::vector<std::string> keys;
    for (const std::string &key : all)
        if (everyHit.count(key) == 0)
            keys.push_back(key);
    std::sort(keys.begin(), keys.end());
    return keys;
}

std::string pref(const QVariantMap &prefs, const QString &key) {
    return prefs.contains(key) ? prefs.value(key).toString().toStdString() : std::string("-");
}

std::string session(const QVariantMap &prefs) {
    return "start=" + pref(prefs, "StartTime") + " pause=" + pref(prefs, "PauseTime") +
           " closed=" + pref(prefs, "SuccessfulClose");
}
