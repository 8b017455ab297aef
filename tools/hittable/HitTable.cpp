#include "HitTable.h"

#include <sqlite3.h>
#include <sys/stat.h>

namespace hittable {

namespace {

const char *kDatabaseName = "KEOAnalyticsCache.sqlite";

bool isDirectory(const std::string &path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isFile(const std::string &path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string columnText(sqlite3_stmt *statement, int column) {
    const unsigned char *text = sqlite3_column_text(statement, column);
    return text ? reinterpret_cast<const char *>(text) : "";
}

// Owns one read-only connection for the length of a read.
class ReadOnlyDb {
public:
    explicit ReadOnlyDb(const std::string &path) {
        if (sqlite3_open_v2(path.c_str(), &_db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
            _error = _db ? sqlite3_errmsg(_db) : "out of memory";
            return;
        }
        // The application may be checkpointing the log at this moment; wait rather than fail.
        sqlite3_busy_timeout(_db, 2000);
    }
    ~ReadOnlyDb() { sqlite3_close(_db); }
    ReadOnlyDb(const ReadOnlyDb &) = delete;
    ReadOnlyDb &operator=(const ReadOnlyDb &) = delete;

    bool ok() const { return _error.empty(); }
    const std::string &error() const { return _error; }
    sqlite3 *handle() const { return _db; }

private:
    sqlite3 *_db = nullptr;
    std::string _error;
};

} // namespace

std::string resolveQueuePath(const std::string &argument) {
    if (!isDirectory(argument))
        return argument;
    const std::string base = argument.back() == '/' ? argument : argument + "/";
    if (isFile(base + kDatabaseName))
        return base + kDatabaseName;
    return base + "data/" + kDatabaseName;
}

QueueSnapshot readQueue(const std::string &dbPath) {
    QueueSnapshot snapshot;
    snapshot.path = dbPath;
    if (!isFile(dbPath)) {
        snapshot.error = "no database at " + dbPath;
        return snapshot;
    }
    ReadOnlyDb db(dbPath);
    if (!db.ok()) {
        snapshot.error = "can't open " + dbPath + ": " + db.error();
        return snapshot;
    }
    // One read transaction, so that the rows and the counter agree with each other.
    sqlite3_exec(db.handle(), "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *rows = nullptr;
    if (sqlite3_prepare_v2(db.handle(), "SELECT ID, URL, TIMESTAMP FROM HITS ORDER BY ID ASC", -1,
                           &rows, nullptr) != SQLITE_OK) {
        snapshot.error = "can't read table HITS in " + dbPath + ": " + sqlite3_errmsg(db.handle());
        return snapshot;
    }
    int step;
    while ((step = sqlite3_step(rows)) == SQLITE_ROW) {
        QueuedHit hit;
        hit.id = sqlite3_column_int64(rows, 0);
        hit.url = columnText(rows, 1);
        hit.timestamp = sqlite3_column_int64(rows, 2);
        snapshot.rows.push_back(std::move(hit));
    }
    sqlite3_finalize(rows);
    if (step != SQLITE_DONE) {
        snapshot.error = "reading HITS failed: " + std::string(sqlite3_errmsg(db.handle()));
        snapshot.rows.clear();
        return snapshot;
    }
    // sqlite_sequence exists only once an AUTOINCREMENT table got its first row.
    sqlite3_stmt *sequence = nullptr;
    if (sqlite3_prepare_v2(db.handle(), "SELECT seq FROM sqlite_sequence WHERE name = 'HITS'", -1,
                           &sequence, nullptr) == SQLITE_OK) {
        if (sqlite3_step(sequence) == SQLITE_ROW)
            snapshot.everQueued = sqlite3_column_int64(sequence, 0);
        sqlite3_finalize(sequence);
    }
    sqlite3_exec(db.handle(), "COMMIT", nullptr, nullptr, nullptr);
    snapshot.ok = true;
    return snapshot;
}

long long countQueue(const std::string &dbPath) {
    if (!isFile(dbPath))
        return -1;
    ReadOnlyDb db(dbPath);
    if (!db.ok())
        return -1;
    sqlite3_stmt *count = nullptr;
    if (sqlite3_prepare_v2(db.handle(), "SELECT COUNT(*) FROM HITS", -1, &count, nullptr) !=
        SQLITE_OK)
        return -1;
    long long rows = -1;
    if (sqlite3_step(count) == SQLITE_ROW)
        rows = sqlite3_column_int64(count, 0);
    sqlite3_finalize(count);
    return rows;
}

} // namespace hittable
