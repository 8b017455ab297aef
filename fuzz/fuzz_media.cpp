// Media reports in any order, with any names, positions and settings, and a delegate that
// reports back from inside an event: no crash, leak or sanitizer report, every hit stored is
// well formed and names an item the sequence opened, and closing every name at the end leaves
// no item open for the next input.
//
// Input: one report per line, fields split by '|':
//   open|name|length|playerName|playerID
//   ad|name|length|playerName|parentName|parentPod|podPosition|CPM
//   play|name|offset                 (starts the item's monitor thread)
//   stop|name|offset    click|name|offset    complete|name|offset    close|name
//   track|name|key|value
//   tick|name|offset                 (the engine run of one monitor tick; -1: real time)
//   second                           (one second passes for every monitor thread)
//   event|name|type|offset|segmentNum|segment
//   set|setting|value                (see applySetting)
//   delegate|action|name             (see Delegate)
// Numbers are read by strtod, so nan, inf, -inf, -0, 1e999 and 0x1p-1074 all work. A name
// "#N:text" is text repeated to N characters (at most 100,000).
//
// Monitor threads pause on a clock of the target's own (see sleep below), so an input takes no
// real seconds and runs the same way each time: after every report each monitor thread has
// ticked and waits again, and at the end every monitor thread has ended.
//
// Hits go to a port nothing listens on with offline tracking on, so the worker tries the oldest
// row once and then pauses for 30 s; the target reads each input's rows itself and deletes them.
#include "HitDecoder.h"
#include "KEOAnalyticsWorker.h"
#include "KEOMediaAnalytics.h"
#include "KEOMobileConfig.h"
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QSet>
#include <QString>

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>

namespace {
// Never destroyed: a thread may still wait on them while the process exits.
std::mutex &clockMutex = *new std::mutex;
std::condition_variable &clockMoved = *new std::condition_variable;
unsigned long long clockSecond = 0;
// Monitor threads that started their pause in the current second.
int pausedThisSecond = 0;
// Set in a thread once it pauses while no monitor thread exists: it is not one (libFuzzer's
// memory watcher pauses a second at a time too).
thread_local bool realSleeper = false;
std::atomic<bool> realSleeperSeen{false};
} // namespace

// A monitor thread's pause between ticks waits for the target's clock instead of a second.
// Every other pause is a real one: the worker's retry, and any thread not counted as a monitor
// (a monitor thread is counted from before it starts until after its last pause).
extern "C" unsigned int sleep(unsigned int seconds) {
    if (seconds != 1 || realSleeper || KEOMediaItem::activeMonitorCount() == 0) {
        if (seconds == 1)
            realSleeper = realSleeperSeen = true;
        timespec left{static_cast<time_t>(seconds), 0};
        while (nanosleep(&left, &left) != 0 && errno == EINTR) {
        }
        return 0;
    }
    std::unique_lock<std::mutex> lock(clockMutex);
    const unsigned long long start = clockSecond;
    ++pausedThisSecond;
    clockMoved.wait(lock, [start] { return clockSecond != start; });
    return 0;
}

namespace {

KEOMediaAnalytics *media = nullptr;
sqlite3 *db = nullptr;
sqlite3_stmt *newRows = nullptr;
sqlite3_int64 lastRow = 0;

// Simplified names of every item the current input opened, for the closing sweep and for
// checking the names in its hits.
QSet<QString> opened;

const int kMaxNameLength = 100000;

void writeFile(const QString &path, const QByteArray &content) {
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        abort();
    out.write(content);
}

QString field(const QList<QByteArray> &fields, int i) {
    return i < fields.size() ? QString::fromUtf8(fields[i]) : QString();
}

double number(const QList<QByteArray> &fields, int i) {
    if (i >= fields.size())
        return 0;
    const std::string text = fields[i].toStdString();
    return std::strtod(text.c_str(), nullptr);
}

long long integer(const QList<QByteArray> &fields, int i) {
    if (i >= fields.size())
        return 0;
    const std::string text = fields[i].toStdString();
    return std::strtoll(text.c_str(), nullptr, 0);
}

int clampedInt(long long value) {
    return static_cast<int>(value < INT_MIN ? INT_MIN : value > INT_MAX ? INT_MAX : value);
}

QString name(const QList<QByteArray> &fields, int i) {
    if (i >= fields.size())
        return QString();
    const QByteArray &raw = fields[i];
    const int colon = raw.indexOf(':');
    if (raw.startsWith('#') && colon > 1) {
        const long long wanted = std::strtoll(raw.mid(1, colon - 1).constData(), nullptr, 10);
        const int length =
            static_cast<int>(wanted < 0 ? 0 : std::min<long long>(wanted, kMaxNameLength));
        QString unit = QString::fromUtf8(raw.mid(colon + 1));
        if (unit.isEmpty())
            unit = "x";
        return unit.repeated(length / unit.size() + 1).left(length);
    }
    return QString::fromUtf8(raw);
}

// The delegate: takes every snapshot and deletes it at once. On the fuzzing thread an action
// makes it report once more from inside the event, on the snapshot's own name or another;
// on a monitor thread it only deletes, as its fields belong to the fuzzing thread.
struct Delegate {
    QString action;
    QString target;
    bool inside = false;
    bool sweeping = false;
    std::thread::id thread;
} delegate;

void noteOpened(const QString &raw) {
    const QString simplified = raw.simplified();
    if (!simplified.isEmpty())
        opened.insert(simplified);
}

void onEvent(KEOMediaState *state) {
    const QString own = state->name;
    const QString event = state->mediaEvent;
    delete state;
    if (std::this_thread::get_id() != delegate.thread || delegate.inside || delegate.sweeping ||
        delegate.action.isEmpty())
        return;
    delegate.inside = true;
    const QString target = delegate.target.isEmpty() ? own : delegate.target;
    if (delegate.action == "track") {
        media->track(target, {{"from.delegate", event}});
    } else if (delegate.action == "close") {
        media->close(target);
    } else if (delegate.action == "open") {
        noteOpened(target);
        media->open(target, 30, "Delegate", "");
    } else if (delegate.action == "ad") {
        noteOpened(target);
        media->openAd(target, 15, "Delegate", own, "pod", 0, "2.50");
    } else if (delegate.action == "play") {
        media->play(target, -1);
    } else if (delegate.action == "stop") {
        media->stop(target, -1);
    } else if (delegate.action == "complete") {
        media->complete(target, -1);
    }
    delegate.inside = false;
}

// Every setting back to what a fresh process has, so that each input starts the same.
void resetSettings() {
    media->channel = QString();
    media->completeCloseOffsetThreshold = 1.0;
    media->mediaMeasurementDelegate = onEvent;
    media->trackSeconds = 0;
    media->trackMilestones = QString();
    media->segmentByMilestones = false;
    media->trackOffsetMilestones = QString();
    media->segmentByOffsetMilestones = false;
    media->adTrackSeconds = 0;
    media->adTrackMilestones = QString();
    media->adSegmentByMilestones = false;
    media->adTrackOffsetMilestones = QString();
    media->adSegmentByOffsetMilestones = false;
    delegate.action = QString();
    delegate.target = QString();
}

// Waits until every monitor thread has ticked and pauses, or has ended.
void settle() {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(clockMutex);
            if (pausedThisSecond >= KEOMediaItem::activeMonitorCount())
                return;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

// One second passes: every monitor thread wakes, ticks unless its item was closed, and pauses.
void secondPasses() {
    {
        std::lock_guard<std::mutex> lock(clockMutex);
        ++clockSecond;
        pausedThisSecond = 0;
    }
    clockMoved.notify_all();
    settle();
}

void applySetting(const QList<QByteArray> &fields) {
    const QByteArray which = fields.value(1);
    const QString text = field(fields, 2);
    const bool on = integer(fields, 2) != 0;
    if (which == "channel")
        media->channel = text;
    else if (which == "threshold")
        media->completeCloseOffsetThreshold = number(fields, 2);
    else if (which == "seconds")
        media->trackSeconds = clampedInt(integer(fields, 2));
    else if (which == "milestones")
        media->trackMilestones = text;
    else if (which == "segmentByMilestones")
        media->segmentByMilestones = on;
    else if (which == "offsetMilestones")
        media->trackOffsetMilestones = text;
    else if (which == "segmentByOffsetMilestones")
        media->segmentByOffsetMilestones = on;
    else if (which == "adSeconds")
        media->adTrackSeconds = clampedInt(integer(fields, 2));
    else if (which == "adMilestones")
        media->adTrackMilestones = text;
    else if (which == "adSegmentByMilestones")
        media->adSegmentByMilestones = on;
    else if (which == "adOffsetMilestones")
        media->adTrackOffsetMilestones = text;
    else if (which == "adSegmentByOffsetMilestones")
        media->adSegmentByOffsetMilestones = on;
    else if (which == "noDelegate")
        media->mediaMeasurementDelegate = nullptr;
}

void report(const QList<QByteArray> &fields) {
    const QByteArray op = fields.value(0);
    const QString item = name(fields, 1);
    if (op == "open") {
        noteOpened(item);
        media->open(item, number(fields, 2), name(fields, 3), field(fields, 4));
    } else if (op == "ad") {
        noteOpened(item);
        media->openAd(item, number(fields, 2), name(fields, 3), name(fields, 4), field(fields, 5),
                      number(fields, 6), field(fields, 7));
    } else if (op == "play") {
        media->play(item, number(fields, 2));
    } else if (op == "stop") {
        media->stop(item, number(fields, 2));
    } else if (op == "click") {
        media->click(item, number(fields, 2));
    } else if (op == "complete") {
        media->complete(item, number(fields, 2));
    } else if (op == "close") {
        media->close(item);
    } else if (op == "track") {
        media->track(item, {{field(fields, 2), field(fields, 3)}});
    } else if (op == "tick") {
        media->playerEvent(item, KEOMediaEventTypeMonitor, {}, number(fields, 2), 0, QString());
    } else if (op == "event") {
        // 0 to 7: every report the engine knows, and the unassigned 6.
        const auto type = static_cast<KEOMediaEventType>(integer(fields, 2) & 7);
        media->playerEvent(item, type, {}, number(fields, 3),
                           static_cast<unsigned int>(integer(fields, 4)), field(fields, 5));
    } else if (op == "set") {
        applySetting(fields);
    } else if (op == "second") {
        secondPasses();
    } else if (op == "delegate") {
        delegate.action = field(fields, 1);
        delegate.target = name(fields, 2);
    }
}

// Rows stored since the last call, each checked: well formed, a media hit, naming an item this
// input opened. Returns how many there were.
int checkNewRows() {
    int rows = 0;
    sqlite3_bind_int64(newRows, 1, lastRow);
    while (sqlite3_step(newRows) == SQLITE_ROW) {
        lastRow = sqlite3_column_int64(newRows, 0);
        const unsigned char *text = sqlite3_column_text(newRows, 1);
        const std::string url = text ? reinterpret_cast<const char *>(text) : "";
        const collector::DecodedHit hit = collector::decodeUrl(url);
        const bool ad = hit.var("pev3").value_or("") == "videoAd";
        const std::string named = hit.ctx(ad ? "a.media.ad.name" : "a.media.name").value_or("");
        if (!hit.wellFormed || hit.ctx("a.internal").value_or("") != "VideoTracking" ||
            !opened.contains(QString::fromStdString(named))) {
            fprintf(stderr, "unexpected hit (%s): %.2000s\n", hit.error.c_str(), url.c_str());
            abort();
        }
        rows++;
    }
    sqlite3_reset(newRows);
    return rows;
}

void setUp() {
    const QString root =
        QDir::tempPath() + QString("/keo-fuzz-media-%1").arg(static_cast<qint64>(getpid()));
    QDir(root).removeRecursively();
    QDir().mkpath(root + "/app/native");
    QDir().mkpath(root + "/data");
    // Port 1 on loopback: privileged, so no test's collector ever holds it.
    writeFile(root + "/app/native/KEOMobileConfig.json",
              "{\"analytics\": {\"rsids\": \"fuzz\", \"server\": \"127.0.0.1:1\", "
              "\"charset\": \"UTF-8\", \"offlineEnabled\": true}}\n");
    writeFile(root + "/app/native/bar-descriptor.xml",
              "<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\"><name>Fuzz</name>"
              "<versionNumber>1.0</versionNumber></qnx>\n");

    // The library takes its paths from the working directory at first use; libFuzzer's own
    // paths are relative to the directory it was started in, so go back once they are taken.
    const QString previous = QDir::currentPath();
    if (chdir(root.toUtf8().constData()) != 0)
        abort();
    KEOSharedPreferences::sharedInstance();
    KEOMobileConfig::sharedInstance();
    KEOStatic::getApplicationID();
    KEOAnalyticsWorker::sharedInstance();
    media = KEOMediaAnalytics::sharedInstance();
    resetSettings();
    delegate.thread = std::this_thread::get_id();
    if (chdir(previous.toUtf8().constData()) != 0)
        abort();

    const QByteArray path = (root + "/data/KEOAnalyticsCache.sqlite").toUtf8();
    if (sqlite3_open(path.constData(), &db) != SQLITE_OK)
        abort();
    sqlite3_busy_timeout(db, 2000);
    sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    if (sqlite3_prepare_v2(db, "SELECT ID, URL FROM HITS WHERE ID > ? ORDER BY ID", -1, &newRows,
                           nullptr) != SQLITE_OK)
        abort();

    // libFuzzer's memory watcher must have paused once before the first monitor thread
    // exists, or it would be taken for one; without a watcher this waits two seconds once.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!realSleeperSeen && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (media == nullptr)
        setUp();

    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QByteArray &line : input.split('\n')) {
        report(line.split('|'));
        settle();
    }

    // Close every name: a tick makes a played-or-not item closable, the close removes it.
    delegate.sweeping = true;
    for (const QString &item : opened) {
        media->playerEvent(item, KEOMediaEventTypeMonitor, {}, -1.0, 0, QString());
        media->close(item);
    }
    delegate.sweeping = false;
    checkNewRows();
    // A track of an open name stores a hit; none may come.
    for (const QString &item : opened)
        media->track(item, {});
    if (checkNewRows() != 0) {
        fprintf(stderr, "an item stayed open after its close\n");
        abort();
    }

    // Closed items' monitor threads end at their next second.
    secondPasses();
    if (KEOMediaItem::activeMonitorCount() != 0) {
        fprintf(stderr, "a monitor thread runs on after every name was closed\n");
        abort();
    }

    // Whatever an input leaves behind is freed before it ends, the rows and the settings'
    // texts included, so that libFuzzer's leak check only runs for real leaks.
    const std::string remove = "DELETE FROM HITS WHERE ID <= " + std::to_string(lastRow);
    sqlite3_exec(db, remove.c_str(), nullptr, nullptr, nullptr);
    resetSettings();
    opened = QSet<QString>();
    return 0;
}
