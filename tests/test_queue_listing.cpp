// The queue inspector: which file an argument names, reading HITS without touching it (also
// beside a writer that holds a transaction open), and the report a developer reads.
#include "QueueReader.h"
#include "WorkDir.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <string>

using keodemo::formatAge;
using keodemo::formatQueue;
using keodemo::QueueSnapshot;
using keodemo::readQueue;
using keodemo::resolveQueuePath;

namespace {

const char *kHome = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s11?AQB=1&ndh=1&pageName=Home&AQE=1";
const char *kBuy = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s22?AQB=1&ndh=1&pe=lnk_o"
                   "&pev2=KEOACTION%3ABuy&pageName=App&AQE=1";

// A hit table as the library makes it: WAL mode, the same schema, rows with given times.
class QueueFile {
public:
    explicit QueueFile(const std::string &path) : _path(path) {
        sqlite3_open(path.c_str(), &_db);
        exec("PRAGMA journal_mode=WAL");
        exec("CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, URL TEXT, "
             "TIMESTAMP INTEGER)");
    }
    ~QueueFile() { sqlite3_close(_db); }
    void insert(const std::string &url, long long timestamp) {
        exec("INSERT INTO HITS (url, timestamp) VALUES ('" + url + "', " +
             std::to_string(timestamp) + ")");
    }
    void exec(const std::string &sql) {
        ASSERT_EQ(SQLITE_OK, sqlite3_exec(_db, sql.c_str(), nullptr, nullptr, nullptr)) << sql;
    }

private:
    std::string _path;
    sqlite3 *_db = nullptr;
};

std::string dbPath(const WorkDir &dir) {
    return dir.file("data/KEOAnalyticsCache.sqlite").toStdString();
}

} // namespace

TEST(QueueInspectorPath, AppDirectoryNamesItsDataDatabase) {
    WorkDir dir;
    EXPECT_EQ(dir.path().toStdString() + "/data/KEOAnalyticsCache.sqlite",
              resolveQueuePath(dir.path().toStdString()));
}

TEST(QueueInspectorPath, DataDirectoryWithTheDatabaseNamesIt) {
    WorkDir dir;
    QueueFile file(dbPath(dir));
    EXPECT_EQ(dbPath(dir), resolveQueuePath(dir.file("data").toStdString() + "/"));
}

TEST(QueueInspectorPath, FileArgumentStandsAsGiven) {
    EXPECT_EQ("/somewhere/else.sqlite", resolveQueuePath("/somewhere/else.sqlite"));
}

TEST(QueueInspectorRead, RowsComeInDeliveryOrderWithTheirTimes) {
    WorkDir dir;
    QueueFile file(dbPath(dir));
    file.insert(kHome, 1000);
    file.insert(kBuy, 990);
    const QueueSnapshot snapshot = readQueue(dbPath(dir));
    ASSERT_TRUE(snapshot.ok) << snapshot.error;
    ASSERT_EQ(2u, snapshot.rows.size());
    EXPECT_EQ(1, snapshot.rows[0].id);
    EXPECT_EQ(kHome, snapshot.rows[0].url);
    EXPECT_EQ(1000, snapshot.rows[0].timestamp);
    EXPECT_EQ(2, snapshot.rows[1].id);
    EXPECT_EQ(990, snapshot.rows[1].timestamp);
}

TEST(QueueInspectorRead, EverQueuedCountsDeliveredRowsToo) {
    WorkDir dir;
    QueueFile file(dbPath(dir));
    file.insert(kHome, 1000);
    file.insert(kBuy, 1001);
    file.insert(kHome, 1002);
    file.exec("DELETE FROM HITS WHERE ID < 3");
    const QueueSnapshot snapshot = readQueue(dbPath(dir));
    ASSERT_TRUE(snapshot.ok) << snapshot.error;
    ASSERT_EQ(1u, snapshot.rows.size());
    EXPECT_EQ(3, snapshot.rows[0].id);
    EXPECT_EQ(3, snapshot.everQueued);
}

TEST(QueueInspectorRead, UncommittedRowsOfARunningWriterStayInvisible) {
    WorkDir dir;
    QueueFile file(dbPath(dir));
    file.insert(kHome, 1000);
    file.exec("BEGIN IMMEDIATE");
    file.insert(kBuy, 1001);
    const QueueSnapshot snapshot = readQueue(dbPath(dir));
    ASSERT_TRUE(snapshot.ok) << snapshot.error;
    EXPECT_EQ(1u, snapshot.rows.size());
    EXPECT_EQ(1, keodemo::countQueue(dbPath(dir)));
    file.exec("COMMIT");
}

TEST(QueueInspectorRead, MissingDatabaseIsReportedAndNotCreated) {
    WorkDir dir;
    const QueueSnapshot snapshot = readQueue(dbPath(dir));
    EXPECT_FALSE(snapshot.ok);
    EXPECT_EQ("no database at " + dbPath(dir), snapshot.error);
    EXPECT_FALSE(dir.exists("data/KEOAnalyticsCache.sqlite"));
    EXPECT_EQ(-1, keodemo::countQueue(dbPath(dir)));
}

TEST(QueueInspectorRead, DatabaseWithoutHitsTableIsReported) {
    WorkDir dir;
    {
        sqlite3 *db = nullptr;
        sqlite3_open(dbPath(dir).c_str(), &db);
        sqlite3_exec(db, "CREATE TABLE OTHER (X INTEGER)", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    const QueueSnapshot snapshot = readQueue(dbPath(dir));
    EXPECT_FALSE(snapshot.ok);
    EXPECT_EQ("can't read table HITS in " + dbPath(dir) + ": no such table: HITS", snapshot.error);
}

TEST(QueueInspectorAge, ReadsAtAGlanceAtEachScale) {
    EXPECT_EQ("0s", formatAge(0));
    EXPECT_EQ("59s", formatAge(59));
    EXPECT_EQ("1m 00s", formatAge(60));
    EXPECT_EQ("59m 59s", formatAge(3599));
    EXPECT_EQ("1h 00m", formatAge(3600));
    EXPECT_EQ("23h 59m", formatAge(86399));
    EXPECT_EQ("1d 03h", formatAge(86400 + 3 * 3600 + 59));
}

TEST(QueueInspectorAge, ClockSetBackShowsZero) {
    EXPECT_EQ("0s", formatAge(-5));
}

TEST(QueueInspectorReport, EmptyTableSaysSoWithTheCounter) {
    QueueSnapshot snapshot;
    snapshot.ok = true;
    snapshot.path = "app/data/KEOAnalyticsCache.sqlite";
    snapshot.everQueued = 7;
    EXPECT_EQ("app/data/KEOAnalyticsCache.sqlite: empty (7 queued since the table was made)\n",
              formatQueue(snapshot, 5000, false, false));
}

TEST(QueueInspectorReport, EachRowShowsIdAgeAndWhatTheHitIs) {
    QueueSnapshot snapshot;
    snapshot.ok = true;
    snapshot.path = "q.sqlite";
    snapshot.everQueued = 9;
    snapshot.rows = {{8, kHome, 1000}, {9, kBuy, 1060}};
    const std::string report = formatQueue(snapshot, 1065, false, false);
    EXPECT_EQ(0u, report.find("q.sqlite: 2 hits waiting, oldest 1m 05s (9 queued since the "
                              "table was made)\n"
                              "ID 8  age 1m 05s  state \"Home\"\n"
                              "    pageName = Home\n"
                              "ID 9  age 5s  action \"Buy\"\n"
                              "    pageName = App\n"
                              "    pe       = lnk_o\n"
                              "    pev2     = KEOACTION:Buy\n"))
        << report;
}

TEST(QueueInspectorReport, UrlsOnlyGivesIdTabUrl) {
    QueueSnapshot snapshot;
    snapshot.ok = true;
    snapshot.path = "q.sqlite";
    snapshot.everQueued = 1;
    snapshot.rows = {{1, kHome, 1000}};
    EXPECT_EQ("q.sqlite: 1 hit waiting, oldest 0s (1 queued since the table was made)\n1\t" +
                  std::string(kHome) + "\n",
              formatQueue(snapshot, 1000, false, true));
}

TEST(QueueInspectorReport, ColoursOnlyWhenAskedFor) {
    QueueSnapshot snapshot;
    snapshot.ok = true;
    snapshot.path = "q.sqlite";
    snapshot.rows = {{1, kBuy, 1000}};
    EXPECT_EQ(std::string::npos, formatQueue(snapshot, 1000, false, false).find('\033'));
    EXPECT_NE(std::string::npos, formatQueue(snapshot, 1000, true, false).find('\033'));
}
