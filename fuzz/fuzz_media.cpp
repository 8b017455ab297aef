// Media reports in any order with any names, positions and settings, and a delegate that reports
// from inside an event: no crash, leak or sanitizer report, and once every name is closed no item
// is open and no monitor runs. Input: a media script (tests/support/MediaScript.h) and "second",
// a second of the target's own clock for every monitor, so an input takes no real time and runs
// the same each time. Hits wait in the table (port 1 refuses them, offline tracking keeps them).
#include "../tests/support/MediaScript.h"

#include <QDir>

#include <sqlite3.h>

#include <condition_variable>
#include <fstream>
#include <unistd.h>

namespace {
std::mutex &clockMutex = *new std::mutex; // never destroyed: a monitor may wait on it at exit
std::condition_variable &clockMoved = *new std::condition_variable;
unsigned long long clockSecond = 0;
int paused = 0; // monitor threads that paused in this second
// A thread that pauses a second while no monitor exists is none (libFuzzer's memory watcher).
thread_local bool realSleeper = false;
std::atomic<bool> realSleeperSeen{false};
sqlite3 *db = nullptr;

// Lets a second pass, or none, and waits until every monitor has ticked and paused, or ended.
void settle(bool secondPasses) {
    std::unique_lock<std::mutex> lock(clockMutex);
    clockSecond += secondPasses;
    paused = secondPasses ? 0 : paused;
    clockMoved.notify_all();
    for (; paused < KEOMediaItem::activeMonitorCount(); lock.lock()) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}
} // namespace

extern "C" unsigned int sleep(unsigned int seconds) {
    std::unique_lock<std::mutex> lock(clockMutex);
    if (seconds == 1 && !realSleeper && KEOMediaItem::activeMonitorCount() > 0) {
        const unsigned long long second = clockSecond;
        ++paused;
        clockMoved.wait(lock, [second] { return clockSecond != second; });
        return 0;
    }
    lock.unlock();
    realSleeper = realSleeper || seconds == 1;
    realSleeperSeen = realSleeperSeen || realSleeper;
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (db == nullptr) {
        // The library takes its paths from the working directory at its first hit; libFuzzer's
        // are relative to where it started, so go back once they are taken.
        const QString root = QDir::tempPath() + QString("/keo-fuzz-media-%1").arg(getpid());
        const QString previous = QDir::currentPath();
        QDir(root).removeRecursively();
        QDir().mkpath(root + "/data");
        QDir().mkpath(root + "/app/native");
        std::ofstream((root + "/app/native/KEOMobileConfig.json").toStdString())
            << R"({"analytics": {"server": "127.0.0.1:1", "offlineEnabled": true}})";
        QDir::setCurrent(root);
        media_script::run("set|delegate|1;open|Warm-up|1|P;play|Warm-up|0;close|Warm-up");
        QDir::setCurrent(previous);
        if (sqlite3_open((root + "/data/KEOAnalyticsCache.sqlite").toUtf8().constData(), &db) ||
            sqlite3_busy_timeout(db, 2000) ||
            sqlite3_exec(db, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr)) // no disk wait
            abort();
        // The memory watcher pauses before the first monitor exists, or it would pass for one.
        for (int i = 0; i < 200 && !realSleeperSeen; i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    QString input = QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QString &line : input.replace('\n', ';').split(';')) {
        if (line != "second")
            media_script::report(line.split('|'));
        settle(line == "second");
    }
    // Every name closed (a tick makes an item closable whether it played or not) and the
    // settings as a fresh process has them; then a click on any name reaches no delegate, and
    // every monitor ends at its next second.
    media_script::reaction = QString();
    for (const QString &name : media_script::opened)
        media_script::run("tick|" + name + "|-1;close|" + name);
    media_script::run(
        "set|channel|;set|threshold|1;set|seconds|0;set|milestones|;"
        "set|segmentByMilestones|0;set|offsetMilestones|;set|adSeconds|0;"
        "set|segmentByOffsetMilestones|0;set|adMilestones|;set|adOffsetMilestones|;"
        "set|adSegmentByMilestones|0;set|adSegmentByOffsetMilestones|0;set|delegate|1");
    const int told = media_script::seen.size(); // every monitor is paused: none tells anything
    for (const QString &name : media_script::opened)
        media_script::report({"click", name, "0"});
    settle(true);
    if (media_script::seen.size() != told || KEOMediaItem::activeMonitorCount() != 0) {
        fprintf(stderr, "an item or its monitor outlived its close\n");
        abort();
    }
    // What an input left goes before the next one, so that the leak check sees real leaks only.
    media_script::seen.clear();
    media_script::opened.clear();
    sqlite3_exec(db, "DELETE FROM HITS", nullptr, nullptr, nullptr);
    return 0;
}
