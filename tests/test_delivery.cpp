// Delivery of the hit table against the loopback collector: order, rows of an earlier run,
// and what each kind of failure does to a hit with offline tracking on and off.
#include "KEOAnalyticsWorker.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <sqlite3.h>

#include <QDir>

#include <set>
#include <thread>

using namespace std::chrono;
using namespace std::chrono_literals;

namespace {

class Delivery : public LoopbackTest {
protected:
    // Rows as an earlier run of the application would have left them.
    void leaveRows(const std::vector<std::pair<std::string, long>> &rows) {
        sqlite3 *db = nullptr;
        ASSERT_EQ(sqlite3_open(dir.file("data/KEOAnalyticsCache.sqlite").toUtf8().constData(), &db),
                  SQLITE_OK);
        sqlite3_exec(db,
                     "CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, URL "
                     "TEXT, TIMESTAMP INTEGER)",
                     nullptr, nullptr, nullptr);
        for (const auto &row : rows) {
            sqlite3_stmt *insert = nullptr;
            sqlite3_prepare_v2(db, "INSERT INTO HITS (url, timestamp) VALUES (?, ?)", -1, &insert,
                               nullptr);
            sqlite3_bind_text(insert, 1, row.first.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(insert, 2, row.second);
            sqlite3_step(insert);
            sqlite3_finalize(insert);
        }
        sqlite3_close(db);
    }
    std::string urlFor(const std::string &page) {
        return "http://" + server.baseServer() +
               "/b/ss/rsid1/0/BBN-4.0.0/s1?AQB=1&ndh=1&pageName=" + page + "&c.&k=v&.c&AQE=1";
    }
};

} // namespace

TEST_F(Delivery, HitsOfOneSecondArriveInTheOrderTracked) {
    configure(true);
    for (int i = 0; i < 20; ++i)
        KEOMobile::trackState(QString("Page%1").arg(i), {});
    const std::vector<collector::Hit> hits = waitForHits(20);
    ASSERT_EQ(hits.size(), 20u);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(var(hits[i], "pageName"), "Page" + std::to_string(i));
    EXPECT_TRUE(waitForEmptyQueue());
}

TEST_F(Delivery, SenderHeadersNameTheDeviceAndLocale) {
    configure(true);
    KEOMobile::trackState("Home", {});
    const std::vector<collector::Hit> hits = waitForHits(1);
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(hits[0].userAgent.rfind("Mozilla/5.0 (BB10; ", 0), 0u) << hits[0].userAgent;
    EXPECT_FALSE(hits[0].acceptLanguage.empty());
}

TEST_F(Delivery, RowsOfAnEarlierRunGoFirstOnceTheFirstHitIsMade) {
    configure(true);
    leaveRows({{urlFor("Old1"), time(nullptr)}, {urlFor("Old2"), time(nullptr)}});
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(server.count(), 0u);
    KEOMobile::trackState("New", {});
    EXPECT_EQ(pages(waitForHits(3)), (std::vector<std::string>{"Old1", "Old2", "New"}));
}

// No length limit on a hit: one past the collection server's usual 8 KB request line used to be
// answered 414, counted as delivered and lost.
TEST_F(Delivery, LongHitsArriveWhole) {
    configure(true);
    const size_t lengths[] = {9000, 100000, 300000};
    for (const size_t length : lengths)
        KEOMobile::trackState(
            "Long", {{"big.text", QString(length / 4, 'x') + QString(length / 4 * 3, ' ')}});
    const std::vector<collector::Hit> hits = waitForHits(3, 20s);
    ASSERT_EQ(hits.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(lengths[i]);
        EXPECT_TRUE(hits[i].decoded.wellFormed) << hits[i].decoded.error;
        EXPECT_EQ(ctx(hits[i], "big.text"),
                  std::string(lengths[i] / 4, 'x') + std::string(lengths[i] / 4 * 3, ' '));
    }
    EXPECT_TRUE(waitForEmptyQueue());
    EXPECT_EQ(server.count(), 3u);
}

TEST_F(Delivery, MissingDataDirectoryGivesOneErrorLinePerHitAndNoFile) {
    configure(true);
    QDir(dir.file("data")).removeRecursively();
    const std::string err = captureStderr([] {
        KEOMobile::trackState("A", {});
        KEOMobile::trackState("B", {});
        std::this_thread::sleep_for(200ms);
    });
    const std::string lines = libraryLines(err);
    EXPECT_EQ(countOf(lines, "KEOMobile Error: Analytics - Unable to open database ("), 1u)
        << lines;
    EXPECT_EQ(countOf(lines, "KEOMobile Error: Analytics - Unable to insert url("), 2u) << lines;
    EXPECT_FALSE(dir.exists("data"));
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Delivery, HttpErrorStatusCountsAsDelivered) {
    configure(true);
    server.setFault(collector::Fault::HttpError, 500);
    KEOMobile::trackState("A", {});
    KEOMobile::trackState("B", {});
    EXPECT_EQ(pages(waitForHits(2)), (std::vector<std::string>{"A", "B"}));
    EXPECT_TRUE(waitForEmptyQueue());
}

// Offline tracking on, connection refused: kept, one error line, then a 30-second pause; once
// the server is back every kept hit goes out in order without further pauses.
TEST_F(Delivery, OfflineOnRefusedHitIsKeptAndRetriedAfterThirtySeconds) {
    configure(true);
    server.setFault(collector::Fault::Refuse);
    std::string err;
    steady_clock::time_point trackedAt;
    err = captureStderr([&] {
        trackedAt = steady_clock::now();
        KEOMobile::trackState("A", {});
        KEOMobile::trackState("B", {});
        KEOMobile::trackState("C", {});
        std::this_thread::sleep_for(2s);
    });
    EXPECT_EQ(countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit("), 1u)
        << err;
    EXPECT_EQ(dir.hitRows(), 3);
    server.setFault(collector::Fault::None);
    const std::vector<collector::Hit> hits = waitForHits(3, 40s);
    EXPECT_EQ(pages(hits), (std::vector<std::string>{"A", "B", "C"}));
    ASSERT_EQ(hits.size(), 3u);
    const auto firstArrival = duration_cast<seconds>(steady_clock::now() - trackedAt);
    EXPECT_GE(firstArrival.count(), 29);
    EXPECT_LE(hits[2].receivedAt - hits[0].receivedAt, 2s);
}

TEST_F(Delivery, OfflineOnOtherFailureDeletesTheHitAndPauses) {
    configure(true);
    server.setFault(collector::Fault::CloseConnection);
    std::string err = captureStderr([&] {
        KEOMobile::trackState("Lost", {});
        KEOMobile::trackState("Waits", {});
        std::this_thread::sleep_for(3s);
    });
    EXPECT_EQ(countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit("), 1u)
        << err;
    // The first is gone, the second waits out the pause.
    EXPECT_EQ(dir.hitRows(), 1);
    EXPECT_EQ(server.count(), 1u);
}

TEST_F(Delivery, OfflineOffFreshFailingHitIsRetriedForFiveSecondsThenDropped) {
    configure(false);
    server.setFault(collector::Fault::Refuse);
    const std::string err = captureStderr([&] {
        KEOMobile::trackState("A", {});
        std::this_thread::sleep_for(4s);
        EXPECT_EQ(dir.hitRows(), 1);
        std::this_thread::sleep_for(4s);
    });
    EXPECT_EQ(dir.hitRows(), 0);
    EXPECT_GT(countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit("), 1u);
}

TEST_F(Delivery, OfflineOffOldRowIsSentOnceAndDeletedWithoutALine) {
    configure(false);
    leaveRows({{urlFor("Old"), time(nullptr) - 60}});
    server.setFault(collector::Fault::Refuse);
    const std::string err = captureStderr([&] {
        KEOAnalyticsWorker::sharedInstance();
        EXPECT_TRUE(waitForEmptyQueue(3s));
    });
    EXPECT_EQ(libraryLines(err), "");
}

TEST_F(Delivery, OfflineOffOldRowIsStillDelivered) {
    configure(false);
    leaveRows({{urlFor("Old"), time(nullptr) - 60}});
    KEOAnalyticsWorker::sharedInstance();
    EXPECT_EQ(pages(waitForHits(1)), (std::vector<std::string>{"Old"}));
    EXPECT_TRUE(waitForEmptyQueue());
}

TEST_F(Delivery, EightThreadsTrackingLoseAndDuplicateNothing) {
    configure(true);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 25; ++i)
                KEOMobile::trackState(QString("T%1-%2").arg(t).arg(i), {});
        });
    for (std::thread &thread : threads)
        thread.join();
    const std::vector<collector::Hit> hits = waitForHits(200, 30s);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(server.count(), 200u);
    std::set<std::string> unique;
    for (const collector::Hit &hit : hits)
        unique.insert(var(hit, "pageName"));
    EXPECT_EQ(unique.size(), 200u);
    EXPECT_TRUE(waitForEmptyQueue());
}
