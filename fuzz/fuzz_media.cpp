// Media reports in any order with any names, positions and settings, and a delegate that reports
// from inside an event: no crash, leak or sanitizer report, and once every name is closed no item
// is open. Input: a media script (tests/support/MediaScript.h). No monitor thread runs: the
// script's ticks stand for it, so an input takes no real time and runs the same each time (the
// threads themselves are the stress test's). Hits wait in the table (port 1 refuses them,
// offline tracking keeps them).
#include "../tests/support/MediaScript.h"

#include <QDir>

#include <sqlite3.h>

#include <fstream>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static sqlite3 *db = nullptr;
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
        media_script::monitors = false;
        media_script::run("set|delegate|1;open|Warm-up|1|P;play|Warm-up|0;close|Warm-up");
        QDir::setCurrent(previous);
        if (sqlite3_open((root + "/data/KEOAnalyticsCache.sqlite").toUtf8().constData(), &db) ||
            sqlite3_busy_timeout(db, 2000) ||
            sqlite3_exec(db, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr)) // no disk wait
            abort();
    }
    media_script::run(
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    // Every name closed (a tick makes an item closable whether it played or not) and the
    // settings as a fresh process has them; then a click on any name reaches no delegate.
    media_script::reaction = QString();
    for (const QString &name : media_script::opened)
        media_script::run("tick|" + name + "|-1;close|" + name);
    media_script::run(
        "set|channel|;set|threshold|1;set|seconds|0;set|milestones|;"
        "set|segmentByMilestones|0;set|offsetMilestones|;set|adSeconds|0;"
        "set|segmentByOffsetMilestones|0;set|adMilestones|;set|adOffsetMilestones|;"
        "set|adSegmentByMilestones|0;set|adSegmentByOffsetMilestones|0;set|delegate|1");
    const int told = media_script::seen.size();
    for (const QString &name : media_script::opened)
        media_script::report({"click", name, "0"});
    if (media_script::seen.size() != told || KEOMediaItem::activeMonitorCount() != 0) {
        fprintf(stderr, "an item outlived its close\n");
        abort();
    }
    // What an input left goes before the next one, so that the leak check sees real leaks only.
    media_script::seen.clear();
    media_script::opened.clear();
    sqlite3_exec(db, "DELETE FROM HITS", nullptr, nullptr, nullptr);
    return 0;
}
