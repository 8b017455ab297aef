#include "KEOAnalyticsWorker.h"

#include "KEOMobileConfig.h"
#include "KEOStatic.h"

#include <QByteArray>
#include <QDebug>

#include <curl/curl.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

static const char *KEOGAUGE_OFFLINE_HITCACHE = "KEOAnalyticsCache.sqlite";
static const unsigned int TIMESTAMP_DISABLED_WAIT_THRESHOLD = 5;

static pthread_mutex_t _dbMutex = PTHREAD_MUTEX_INITIALIZER;
static sqlite3 *_offlineDB = nullptr;
static sqlite3_stmt *_preparedInsertStatement = nullptr;
static sqlite3_stmt *_preparedDeleteStatement = nullptr;
static sqlite3_stmt *_preparedSelectStatement = nullptr;

static pthread_mutex_t _instanceMutex = PTHREAD_MUTEX_INITIALIZER;
// Atomic so that a thread that sees the pointer also sees the constructed object.
static std::atomic<KEOAnalyticsWorker *> _sharedInstance{nullptr};

// Taken by compare-and-exchange, so two threads never start two workers that would send
// the same row twice.
static std::atomic<bool> _bgThreadActive{false};
static pthread_t _workerThread;

static void _bringOnline();

static void _createDB() {
    pthread_mutex_lock(&_dbMutex);
    // Built without a fixed buffer, so that a long working directory cannot overflow it.
    const char *cwd = KEOStatic::getCurrentWorkingDirectory();
    const QByteArray dbPath =
        QString::asprintf("%s/data/%s", cwd ? cwd : "", KEOGAUGE_OFFLINE_HITCACHE).toUtf8();
    char *error = nullptr;
    if (sqlite3_open(dbPath.constData(), &_offlineDB) != 0) {
        KEOStatic::logError("Analytics - Unable to open database (%s)", dbPath.constData());
    } else if (sqlite3_exec(_offlineDB,
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
    pthread_mutex_lock(&_dbMutex);
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
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 10L);

    for (;;) {
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
            const CURLcode curl_res = curl_easy_perform(curl);

            const uint32_t stamped = static_cast<uint32_t>(atol(timestamp));
            const uint32_t threshold = static_cast<uint32_t>(KEOStatic::timeSince1970() -
                                                             TIMESTAMP_DISABLED_WAIT_THRESHOLD);
            if (!KEOMobileConfig::sharedInstance()->getOfflineTrackingEnabled() &&
                stamped < threshold) {
                _deleteHit(identifier);
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
                    delay = 30.0;
                    if (!_checkError(curl_res))
                        _deleteHit(identifier);
                }
            }
            free(url);
            free(identifier);
            free(timestamp);
            // No call at all for no pause: a zero sleep still costs a timer slack per hit.
            if (delay > 0)
                sleep(static_cast<unsigned int>(delay));
        }
        _bgThreadActive.store(false);
        // A hit queued between the last empty select and the line above started no worker;
        // take the flag back for it rather than leave it for the next queue.
        if (!hasWaitingHit())
            break;
        bool expected = false;
        if (!_bgThreadActive.compare_exchange_strong(expected, true))
            break;
    }

    curl_easy_cleanup(curl);
    // Nothing reads the header list once the handle is gone.
    curl_slist_free_all(headers);
    free(errorMessage);
    pthread_exit(nullptr);
}

static void _bringOnline() {
    bool expected = false;
    if (!_bgThreadActive.compare_exchange_strong(expected, true))
        return;
    // Detached: a finished worker leaves nothing to reap.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (pthread_create(&_workerThread, &attributes, _workerThreadRunner, nullptr) != 0)
        _bgThreadActive.store(false); // the next queue tries again
    pthread_attr_destroy(&attributes);
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
    qDebug() << "KEOAnalyticsWorker::KEOAnalyticsWorker()";
    // libcurl's global set-up (its TLS library's with it) runs once, here, before any worker
    // exists: left to a worker's first curl_easy_init it races the process's exit handlers,
    // which tear the TLS library down, when an application ends right after its first hit.
    curl_global_init(CURL_GLOBAL_DEFAULT);
    _createDB();
    _bringOnline();
}

KEOAnalyticsWorker::~KEOAnalyticsWorker() {}

void KEOAnalyticsWorker::queue(QString url) {
    pthread_mutex_lock(&_dbMutex);
    char timestamp[32];
    snprintf(timestamp, sizeof(timestamp), "%ld", KEOStatic::timeSince1970());
    const QByteArray utf8 = url.toUtf8();
    sqlite3_bind_text(_preparedInsertStatement, 1, utf8.constData(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(_preparedInsertStatement, 2, timestamp, -1, SQLITE_TRANSIENT);
    if (sqlite3_step(_preparedInsertStatement) != SQLITE_DONE)
        KEOStatic::logError("Analytics - Unable to insert url(%s)", utf8.constData());
    clearAndReset(_preparedInsertStatement);
    pthread_mutex_unlock(&_dbMutex);
    _bringOnline();
}
