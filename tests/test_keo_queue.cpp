// The queue inspector as a developer runs it: keo-queue on an application directory, its data
// directory or a file, read as text under a frozen clock, beside a writer that holds a
// transaction open.
#include "SelfProcess.h"
#include "WorkDir.h"

#include <sqlite3.h>

#include <QDateTime>

#include <gtest/gtest.h>

namespace {

const char *kState = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s11?AQB=1&ndh=1&pageName=Cart"
                     "&c.&shop.&cart.&items=1&value=19.90&.cart&name=Demo&.shop&.c&AQE=1";
const char *kAction = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s22?AQB=1&ndh=1&pe=lnk_o"
                      "&pev2=KEOACTION%3AAdd%20to%20cart&pageName=App&AQE=1";
const char *kLaunch = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s3?AQB=1&ndh=1&c.&a.&internal="
                      "Lifecycle&LaunchEvent=LaunchEvent&Launches=2&PrevSessionLength=41&.a&.c"
                      "&AQE=1";
const char *kBroken = "http://127.0.0.1:1/b/ss/rs/0/BBN-4.0.0/s6?pageName=Home";

// The inspector's output and exit status, at 2026-06-01 12:00:00 UTC on its clock.
std::pair<std::string, int> inspect(const QStringList &arguments) {
    SelfProcess queue(SelfProcess::fakeClock("FAKETIME=2026-06-01 12:00:00", {"TZ=UTC0"}),
                      arguments, QProcess::MergedChannels, KEO_QUEUE);
    const int status = queue.wait();
    return {queue.output().toStdString(), status};
}

} // namespace

TEST(QueueInspector, ListsWhatWaitsDecodedOldestFirstAndLeavesTheTableAlone) {
    WorkDir dir;
    const std::string path = dir.file("data/KEOAnalyticsCache.sqlite").toStdString();
    const long now = QDateTime(QDate(2026, 6, 1), QTime(12, 0), Qt::UTC).toSecsSinceEpoch();
    sqlite3 *db = nullptr;
    sqlite3_open(path.c_str(), &db);
    auto exec = [&](const std::string &sql) {
        ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    };
    exec("PRAGMA journal_mode=WAL");
    exec("CREATE TABLE HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, URL TEXT, TIMESTAMP INTEGER)");
    const std::pair<const char *, long> rows[] = {
        {kState, 0}, {kState, 90000}, {kAction, 3599}, {kLaunch, 65}, {kBroken, -5}};
    for (const auto &[url, age] : rows)
        exec("INSERT INTO HITS (url, timestamp) VALUES ('" + std::string(url) + "', " +
             std::to_string(now - age) + ")");
    exec("DELETE FROM HITS WHERE ID = 1");
    exec("BEGIN IMMEDIATE"); // a writer in the middle of a hit: its row stays unseen
    exec("INSERT INTO HITS (url, timestamp) VALUES ('uncommitted', 0)");

    auto [out, status] = inspect({dir.path()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, path + ": 4 hits waiting, oldest 1d 01h (5 queued since the table was made)\n"
                          "ID 2  age 1d 01h  state \"Cart\"\n"
                          "    pageName = Cart\n"
                          "    c.\n"
                          "      shop.\n"
                          "        name = Demo\n"
                          "        cart.\n"
                          "          items = 1\n"
                          "          value = 19.90\n"
                          "ID 3  age 59m 59s  action \"Add to cart\"\n"
                          "    pageName = App\n"
                          "    pe       = lnk_o\n"
                          "    pev2     = KEOACTION:Add to cart\n"
                          "ID 4  age 1m 05s  lifecycle launch #2, previous session 41 s\n"
                          "    c.\n"
                          "      a.\n"
                          "        LaunchEvent       = LaunchEvent\n"
                          "        Launches          = 2\n"
                          "        PrevSessionLength = 41\n"
                          "        internal          = Lifecycle\n"
                          "ID 5  age 0s  state \"Home\"\n"
                          "    MALFORMED: query doesn't start with AQB=1&ndh=1\n"
                          "    pageName = Home\n");
    sqlite3_close(db); // the writer's row rolled back
}
