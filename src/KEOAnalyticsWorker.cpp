#include "KEOAnalyticsWorker.h"

#include "KEODeliveryTimings.h"
#include "KEOLockFile.h"
#include "KEOMobileConfig.h"
#include "KEOStatic.h"

#include <QByteArray>
#include <QDebug>

#include <curl/curl.h>
#include <sandbox/sandbox.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <unistd.h>

static const char *KEOGAUGE_OFFLINE_HITCACHE = "KEOAnalyticsCache.sqlite";

static pthread_mutex_t _dbMutex = PTHREAD_MUTEX_INITIALIZER;
static sqlite3 *_offlineDB = nullptr;
static sqlite3_stmt *_preparedInsertStatement = nullptr;
static sqlite3_stmt *_preparedDeleteStatement = nullptr;
static sqlite3_stmt *_preparedSelectStatement = nullptr;

// The write-ahead log is copied back into the database file by checkpoints, which sync the log
// and the file, and the first commit after a complete one starts the log again from its
// beginning with one more sync. Commits of _offlineDB never checkpoint, so a tracking call
// never pays for those syncs: the worker checkpoints, between a send and its delete, on a
// connection of its own and outside _dbMutex, so that inserts go on beside it. Its delete is
// then, as a rule, the commit that starts the log again.
static sqlite3 *_checkpointDB = nullptr;
static pthread_mutex_t _checkpointMutex = PTHREAD_MUTEX_INITIALIZER;
// Frames in the log after the latest commit of _offlineDB, as its commit hook saw them.
static std::atomic<int> _walFrames{0};
// The log's frames at the worker's latest checkpoint; under _checkpointMutex.
static int _checkpointedFrames = 0;
// The worker checkpoints once the log has grown by this many frames, as often as SQLite would.
static const int CHECKPOINT_FRAMES = 1000;
// A log that inserts never let a checkpoint finish is finished with _dbMutex held once it has
// this many frames, so that it starts again and the file stays bounded.
static const int RESTART_FRAMES = 4 * CHECKPOINT_FRAMES;
// Without a worker that checkpoints (one in its 30 s pause), the commit that takes the log this
// far checkpoints it.
static const int COMMIT_CHECKPOINT_FRAMES = 5 * RESTART_FRAMES;

static pthread_mutex_t _instanceMutex = PTHREAD_MUTEX_INITIALIZER;
// Atomic so that a thread that sees the pointer also sees the constructed object.
static std::atomic<KEOAnalyticsWorker *> _sharedInstance{nullptr};

// Taken by compare-and-exchange, so two threads never start two workers that would send
// the same row twice.
static std::atomic<bool> _bgThreadActive{false};
static pthread_t _workerThread;

// Held by the worker while libcurl works, and taken for good by the process's exit. OpenSSL 3,
// which libcurl loads, tears itself down after every exit handler has run, even while a worker is
// in the middle of an https send, and the process would fault after the application has exited.
// The exit waits for a send in flight a second at most, and no send starts after it.
static std::timed_mutex &_sendMutex = *new std::timed_mutex; // never destroyed: held at exit
static void _holdSendsAtExit() {
    (void)_sendMutex.try_lock_for(std::chrono::seconds(1));
}

static void _bringOnline();

// The delivery lock beside the database (see KEOLockFile.h). Null when the file can't be made:
// a process then delivers as if it were alone. Set once before any worker starts, and never
// freed: workers read it while the exit handlers run.
static const char *_deliveryLockPath = nullptr;

// Opens the lock file and waits until no other worker holds it; -1 without a lock file. The
// mark comes only once the lock is taken, so that every standby waits for the end of this run.
static int _lockDelivery() {
    if (_deliveryLockPath == nullptr)
        return -1;
    const int lock = KEOLockFile::open(_deliveryLockPath);
    KEOLockFile::lock(lock);
    KEOLockFile::mark(lock);
    return lock;
}

// Replaces SQLite's own checkpoint after each commit of _offlineDB; runs with _dbMutex held.
static int walCommitted(void *, sqlite3 *db, const char *, int frames) {
    _walFrames.store(frames, std::memory_order_relaxed);
    if (frames >= COMMIT_CHECKPOINT_FRAMES)
        sqlite3_wal_checkpoint_v2(db, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    return SQLITE_OK;
}

// A passive checkpoint on the worker's connection once the log has grown by CHECKPOINT_FRAMES.
// Worker thread, _dbMutex not held. Passive: it takes no write lock and waits for no one, so an
// insert beside it neither waits nor fails. True when the log has RESTART_FRAMES or more and
// the caller is to finish the checkpoint under _dbMutex.
static bool checkpointIfDue() {
    if (_checkpointDB == nullptr || pthread_mutex_trylock(&_checkpointMutex) != 0)
        return false;
    const int frames = _walFrames.load(std::memory_order_relaxed);
    // A log that started again counts from its beginning.
    if (frames < _checkpointedFrames)
        _checkpointedFrames = 0;
    if (frames - _checkpointedFrames >= CHECKPOINT_FRAMES &&
        sqlite3_wal_checkpoint_v2(_checkpointDB, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                  nullptr) == SQLITE_OK)
        _checkpointedFrames = frames;
    pthread_mutex_unlock(&_checkpointMutex);
    return frames >= RESTART_FRAMES;
}

static void _createDB() {
    pthread_mutex_lock(&_dbMutex);
    // The directory's own bytes, without a fixed buffer that a long one could overflow. A
    // directory that can't be found opens nothing: no database below the root either.
    const char *cwd = KEOStatic::getCurrentWorkingDirectory();
    const QByteArray dbPath =
        QByteArray(cwd ? cwd : "(null)") + "/data/" + KEOGAUGE_OFFLINE_HITCACHE;
    char *error = nullptr;
    // Made private before SQLite opens it: the -wal and -shm that SQLite makes take the
    // database's own mode, and those that a killed run left behind are narrowed here.
    for (const char *suffix : {"", "-wal", "-shm"}) {
        const int made = cwd ? sandbox_open_private((dbPath + suffix).constData(),
                                                    *suffix ? O_RDWR : O_RDWR | O_CREAT)
                             : -1;
        if (made >= 0)
            close(made);
    }
    if (cwd == nullptr || sqlite3_open(dbPath.constData(), &_offlineDB) != 0) {
        KEOStatic::logError("Analytics - Unable to open database (%s)", dbPath.constData());
        pthread_mutex_unlock(&_dbMutex);
        return;
    }
    // Nothing may fail for another process's lock, neither the table's creation and the
    // statements here nor an insert later, which would lose its hit: each waits for the lock
    // instead. Nothing in this process takes the write lock against _offlineDB: inserts and
    // deletes both run on it, one at a time under _dbMutex, and checkpoints are passive.
    sqlite3_busy_timeout(_offlineDB, KEODeliveryTimings::BUSY_TIMEOUT_MS);
    if (sqlite3_exec(_offlineDB,
                     "CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY "
                     "AUTOINCREMENT, URL TEXT, TIMESTAMP INTEGER)",
                     nullptr, nullptr, &error) != 0) {
        KEOStatic::logError("Analytics - unable to create SQLITE database (%s)", error);
        sqlite3_free(error);
    } else {
        // A committed insert costs one write to the log instead of four syncs; a hit still
        // survives any kill of the process, and a power cut never corrupts the database.
        sqlite3_exec(_offlineDB, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
        sqlite3_exec(_offlineDB, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        sqlite3_wal_hook(_offlineDB, walCommitted, nullptr);
        if (sqlite3_open(dbPath.constData(), &_checkpointDB) == SQLITE_OK)
            sqlite3_exec(_checkpointDB, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        if (sqlite3_prepare_v2(_offlineDB, "INSERT INTO HITS (url, timestamp) VALUES (@URL, @TS)",
                               -1, &_preparedInsertStatement, nullptr) != SQLITE_OK)
            KEOStatic::logError("Analytics - Can't prep SQL statement for queue function");
        if (sqlite3_prepare_v2(_offlineDB, "DELETE FROM hits WHERE id=@ID", -1,
                               &_preparedDeleteStatement, nullptr) != SQLITE_OK)
            KEOStatic::logError("Analytics - Can't prep SQL statement for delete function");
        if (sqlite3_prepare_v2(_offlineDB,
                               "SELECT id, url, timestamp FROM hits ORDER BY id ASC LIMIT 1", -1,
                               &_preparedSelectStatement, nullptr) != SQLITE_OK)
            KEOStatic::logError("Analytics - Can't prep SQL statement for select function");
        const QByteArray lockPath = dbPath + ".lock";
        const int lock = KEOLockFile::open(lockPath.constData());
        if (lock >= 0) {
            close(lock);
            _deliveryLockPath = strdup(lockPath.constData());
        }
    }
    pthread_mutex_unlock(&_dbMutex);
}

// Clearing the bindings of a statement that never got prepared is undefined in SQLite;
// skipping it leaves the same outcome.
static void clearAndReset(sqlite3_stmt *statement) {
    if (statement != nullptr)
        sqlite3_clear_bindings(statement);
    sqlite3_reset(statement);
}

static void _deleteHit(const char *identifier) {
    const bool finish = checkpointIfDue();
    pthread_mutex_lock(&_dbMutex);
    // With no commit beside it, the checkpoint copies the rest of the log, and this delete
    // starts it again.
    if (finish)
        sqlite3_wal_checkpoint_v2(_offlineDB, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    sqlite3_bind_text(_preparedDeleteStatement, 1, identifier, -1, SQLITE_TRANSIENT);
    sqlite3_step(_preparedDeleteStatement);
    clearAndReset(_preparedDeleteStatement);
    pthread_mutex_unlock(&_dbMutex);
}

// The oldest row, as three strings the caller frees; all null when there is none.
// A copy of one column; a NULL column, which only a foreign writer could leave, reads as
// empty text instead of crashing strdup.
static char *dupColumn(int column) {
    const unsigned char *text = sqlite3_column_text(_preparedSelectStatement, column);
    return strdup(text ? reinterpret_cast<const char *>(text) : "");
}

static void selectOldest(char **identifier, char **url, char **timestamp) {
    pthread_mutex_lock(&_dbMutex);
    if (sqlite3_step(_preparedSelectStatement) == SQLITE_ROW) {
        *identifier = dupColumn(0);
        *url = dupColumn(1);
        *timestamp = dupColumn(2);
    }
    sqlite3_reset(_preparedSelectStatement);
    pthread_mutex_unlock(&_dbMutex);
}

static bool hasWaitingHit() {
    pthread_mutex_lock(&_dbMutex);
    const bool waiting = sqlite3_step(_preparedSelectStatement) == SQLITE_ROW;
    sqlite3_reset(_preparedSelectStatement);
    pthread_mutex_unlock(&_dbMutex);
    return waiting;
}

static bool _checkError(int error) {
    return error == CURLE_COULDNT_RESOLVE_PROXY || error == CURLE_COULDNT_RESOLVE_HOST ||
           error == CURLE_COULDNT_CONNECT;
}

static void *_workerThreadRunner(void *) {
    char *errorMessage = static_cast<char *>(malloc(1024));
    CURL *curl = curl_easy_init();
    curl_slist *headers = nullptr;
    const QString acceptLanguage = QString("Accept-Language: %1").arg(KEOStatic::getLocale());
    headers = curl_slist_append(headers, KEOStatic::getUserAgent().toUtf8().constData());
    headers = curl_slist_append(headers, acceptLanguage.toUtf8().constData());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorMessage);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, KEODeliveryTimings::TRANSFER_TIMEOUT_SECONDS);

    for (;;) {
        const int deliveryLock = _lockDelivery();
        for (;;) {
            char *url = nullptr;
            char *identifier = nullptr;
            char *timestamp = nullptr;
            selectOldest(&identifier, &url, &timestamp);
            if (url == nullptr) {
                free(identifier);
                free(timestamp);
                break;
            }
            memset(errorMessage, 0, 1024);
            curl_easy_setopt(curl, CURLOPT_URL, url);
            // Held until the hit is dealt with: an exit then never leaves a delivered row behind
            // for another process sharing the table to send again.
            _sendMutex.lock();
            const CURLcode curl_res = curl_easy_perform(curl);

            const uint32_t stamped = static_cast<uint32_t>(atol(timestamp));
            const uint32_t threshold = static_cast<uint32_t>(KEOStatic::timeSince1970() -
                                                             KEODeliveryTimings::AGE_LIMIT_SECONDS);
            if (!KEOMobileConfig::sharedInstance()->getOfflineTrackingEnabled() &&
                stamped < threshold) {
                _deleteHit(identifier);
                _sendMutex.unlock();
                // Freed here too, so that flushing old rows costs no memory.
                free(url);
                free(identifier);
                free(timestamp);
                continue;
            }

            float delay = 0;
            if (curl_res == CURLE_OK) {
                _deleteHit(identifier);
            } else {
                KEOStatic::logError("Analytics - Unable to send hit(%s)", errorMessage);
                if (KEOMobileConfig::sharedInstance()->getOfflineTrackingEnabled()) {
                    delay = KEODeliveryTimings::RETRY_PAUSE_SECONDS;
                    if (!_checkError(curl_res))
                        _deleteHit(identifier);
                }
            }
            _sendMutex.unlock();
            free(url);
            free(identifier);
            free(timestamp);
            // No call at all for no pause: a zero sleep still costs a timer slack per hit.
            if (delay > 0)
                sleep(static_cast<unsigned int>(delay));
        }
        if (deliveryLock >= 0)
            close(deliveryLock); // another process's worker may go on from here
        _bgThreadActive.store(false);
        // A hit queued between the last empty select and the line above started no worker;
        // take the flag back for it rather than leave it for the next queue.
        if (!hasWaitingHit())
            break;
        bool expected = false;
        if (!_bgThreadActive.compare_exchange_strong(expected, true))
            break;
    }

    _sendMutex.lock(); // closing a kept TLS connection is OpenSSL's work too
    curl_easy_cleanup(curl);
    _sendMutex.unlock();
    // Nothing reads the header list once the handle is gone.
    curl_slist_free_all(headers);
    free(errorMessage);
    pthread_exit(nullptr);
}

// Detached: a finished thread leaves nothing to reap.
static bool startDetached(pthread_t *thread, void *(*body)(void *)) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const bool started = pthread_create(thread, &attributes, body, nullptr) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

static void _bringOnline() {
    bool expected = false;
    if (!_bgThreadActive.compare_exchange_strong(expected, true))
        return;
    if (!startDetached(&_workerThread, _workerThreadRunner))
        _bgThreadActive.store(false); // the next queue tries again
}

// The standby's wake-up: rows that another process's worker left behind when that process ended
// or was killed are delivered from here, without waiting for this process's next hit.
static void deliverLeftRows() {
    if (hasWaitingHit())
        _bringOnline();
}

KEOAnalyticsWorker *KEOAnalyticsWorker::sharedInstance() {
    KEOAnalyticsWorker *instance = _sharedInstance.load(std::memory_order_acquire);
    if (instance)
        return instance;
    pthread_mutex_lock(&_instanceMutex);
    instance = _sharedInstance.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new KEOAnalyticsWorker();
        _sharedInstance.store(instance, std::memory_order_release);
    }
    pthread_mutex_unlock(&_instanceMutex);
    return instance;
}

KEOAnalyticsWorker::KEOAnalyticsWorker() {
    // Kept on purpose: hosts' logs take this unconditional line as delivery's start.
    qDebug() << "KEOAnalyticsWorker::KEOAnalyticsWorker()";
    // libcurl's global set-up (its TLS library's with it) runs once, here, before any worker
    // exists: left to a worker's first curl_easy_init it races the process's exit handlers,
    // which tear the TLS library down, when an application ends right after its first hit.
    curl_global_init(CURL_GLOBAL_DEFAULT);
    atexit(_holdSendsAtExit);
    _createDB();
    if (_deliveryLockPath != nullptr)
        KEOLockFile::startStandby(_deliveryLockPath, deliverLeftRows);
    _bringOnline();
}

KEOAnalyticsWorker::~KEOAnalyticsWorker() {}

void KEOAnalyticsWorker::queue(QString url) {
    queueUtf8(url.toUtf8());
}

// An insert that finds _dbMutex taken spins for about as long as the worker holds it, then sleeps.
static void lockForInsert() {
    const auto giveUp = std::chrono::steady_clock::now() + KEODeliveryTimings::INSERT_SPIN;
    while (pthread_mutex_trylock(&_dbMutex) != 0) {
        if (std::chrono::steady_clock::now() >= giveUp) {
            pthread_mutex_lock(&_dbMutex);
            return;
        }
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause(); // leaves the lock's cache line to its holder meanwhile
#endif
    }
}

static thread_local int _nextMark = 0;

void KEOAnalyticsWorker::markNextInsert(int mark) {
    _nextMark = mark;
}

// The mark goes into the database header's user version, which no row holds, so delivering the
// hit leaves it; true when the hit and the mark were committed together.
static bool insertMarked(int mark) {
    if (sqlite3_exec(_offlineDB, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK)
        return false;
    const QByteArray setMark = "PRAGMA user_version=" + QByteArray::number(mark);
    if (sqlite3_step(_preparedInsertStatement) == SQLITE_DONE &&
        sqlite3_exec(_offlineDB, setMark.constData(), nullptr, nullptr, nullptr) == SQLITE_OK &&
        sqlite3_exec(_offlineDB, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    sqlite3_exec(_offlineDB, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_reset(_preparedInsertStatement); // bindings kept for the plain insert
    return false;
}

void KEOAnalyticsWorker::queueUtf8(const QByteArray &url) {
    const int mark = _nextMark;
    _nextMark = 0;
    lockForInsert();
    char timestamp[32];
    snprintf(timestamp, sizeof(timestamp), "%ld", KEOStatic::timeSince1970());
    // Bound without a copy: both texts outlive the step, and the bindings are cleared after it.
    sqlite3_bind_text(_preparedInsertStatement, 1, url.constData(), -1, SQLITE_STATIC);
    sqlite3_bind_text(_preparedInsertStatement, 2, timestamp, -1, SQLITE_STATIC);
    // A mark that can't be committed leaves the hit to the plain insert: the hit comes first.
    if (!(mark != 0 && insertMarked(mark)) && sqlite3_step(_preparedInsertStatement) != SQLITE_DONE)
        KEOStatic::logError("Analytics - Unable to insert url(%s)", url.constData());
    clearAndReset(_preparedInsertStatement);
    pthread_mutex_unlock(&_dbMutex);
    _bringOnline();
}

int KEOAnalyticsWorker::lastMark() {
    lockForInsert();
    sqlite3_stmt *statement = nullptr;
    int mark = 0;
    if (sqlite3_prepare_v2(_offlineDB, "PRAGMA user_version", -1, &statement, nullptr) ==
            SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW)
        mark = sqlite3_column_int(statement, 0);
    sqlite3_finalize(statement);
    pthread_mutex_unlock(&_dbMutex);
    return mark;
}
