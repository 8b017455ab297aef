// Delivery of the hit table against the loopback collector: order, rows of an earlier run, what
// each kind of server fault does to a hit with offline tracking on and off, the age rule, and a
// table that can't be used.
#include "KEOAnalyticsWorker.h"
#include "KEODeliveryTimings.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <desktop/DesktopPlatform.h>

#include <sqlite3.h>

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <map>
#include <thread>

using namespace std::chrono;
using namespace std::chrono_literals;
using collector::Fault;
using namespace KEODeliveryTimings;

namespace {

class Delivery : public LoopbackTest {
protected:
    // Rows as an earlier run of the application would have left them.
    void leaveRows(const std::vector<std::pair<std::string, long>> &rows) {
        std::string sql = "CREATE TABLE IF NOT EXISTS HITS (ID INTEGER PRIMARY KEY AUTOINCREMENT, "
                          "URL TEXT, TIMESTAMP INTEGER);";
        for (const auto &[page, stamp] : rows)
            sql += "INSERT INTO HITS (url, timestamp) VALUES ('http://" + server.baseServer() +
                   "/b/ss/r/0/BBN-4.0.0/s1?AQB=1&ndh=1&pageName=" + page + "&c.&k=v&.c&AQE=1', " +
                   std::to_string(stamp) + ");";
        sqlite3 *db = nullptr;
        sqlite3_open(dir.file("data/KEOAnalyticsCache.sqlite").toUtf8().constData(), &db);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
};

} // namespace

// Rows of an earlier run wait for the first hit of this one, then everything goes in order,
// whole at any length: a hit past the usual 8 KB request line must not be refused and lost.
TEST_F(Delivery, EarlierRowsFirstThenHitsInTheOrderTrackedWholeAtAnyLength) {
    configure(true);
    desktop::setDeviceName("Q10");
    desktop::setOsVersion("10.3.1");
    desktop::setLocale("fr_CA");
    leaveRows({{"Old1", time(nullptr)}, {"Old2", time(nullptr)}});
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(server.count(), 0u);
    std::vector<std::string> expected{"Old1", "Old2"};
    for (int length : {1, 9000, 2, 100000, 3, 300000, 4}) {
        const QString text = QString(length / 4, 'x') + QString(length - length / 4, ' ');
        KEOMobile::trackState(QString("Page%1").arg(length), {{"big.text", text}});
        expected.push_back("Page" + std::to_string(length) + "|" + text.toStdString());
    }
    std::vector<std::string> arrived;
    for (const collector::Hit &hit : waitForHits(expected.size(), 20s))
        arrived.push_back(var(hit, "pageName") + (hit.decoded.wellFormed ? "" : "MALFORMED") +
                          (ctx(hit, "big.text") == "<missing>" ? "" : "|" + ctx(hit, "big.text")));
    EXPECT_TRUE(arrived == expected);
    EXPECT_EQ(server.hits()[0].userAgent, "Mozilla/5.0 (BB10; Q10) AppleWebKit/537.10+ (KHTML, "
                                          "like Gecko) Version/10.3.1 Mobile Safari/537.10+");
    EXPECT_EQ(server.hits()[0].acceptLanguage, "fr-ca");
    EXPECT_TRUE(waitForRows(0));
}

// Refused with offline tracking on: kept, one line, a 30-second pause; then every kept hit goes
// out in order without further pauses.
TEST_F(Delivery, OfflineOnRefusedHitIsRetriedAfterThirtySecondsThenAllInOrder) {
    configure(true);
    server.setFault(Fault::Refuse);
    const auto trackedAt = steady_clock::now();
    const std::string err = captureStderr([&] {
        for (const char *page : {"A", "B", "C"})
            KEOMobile::trackState(page, {});
        std::this_thread::sleep_for(2s);
    });
    EXPECT_EQ(countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit("), 1u);
    EXPECT_EQ(dir.hitRows(), 3);
    server.setFault(Fault::None);
    const std::vector<collector::Hit> hits = waitForHits(3, seconds(RETRY_PAUSE_SECONDS + 10));
    ASSERT_EQ(pages(hits), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_GE(duration_cast<seconds>(steady_clock::now() - trackedAt).count(),
              RETRY_PAUSE_SECONDS - 1);
    EXPECT_LE(hits[2].receivedAt - hits[0].receivedAt, 2s);
}

// "A" and "B" are tracked against a server that already misbehaves; after `settle` the server
// is mended (when `mend`) and watched for `afterMs` more: what arrived, what is left, how many
// send failures were logged.
struct FaultCase {
    const char *name;
    bool offline = true;
    Fault fault = Fault::None; // None: a host name that can't be resolved (curl error 6)
    int param = 0;             // the fault's: a delay or a status
    int settleRows = -1;       // wait until the table holds this many rows (-1: sleep settleMs)
    int settleMs = 0;          // the sleep, or the time-out of the wait
    bool mend = false;
    int afterMs = 0;
    size_t minLines = 0, maxLines = 0; // "Unable to send hit" lines
    const char *arrived = "";          // pages in order; "A+" for A two times or more, nothing else
    int rowsLeft = 0;
};

void PrintTo(const FaultCase &c, std::ostream *out) {
    *out << c.name;
}

class DeliveryFaults : public Delivery, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(DeliveryFaults, KeepDeleteOrPauseAsTheRulesSay) {
    const FaultCase &c = GetParam();
    if (c.fault == Fault::None) { // a host name that can't be resolved (curl error 6)
        dir.writeConfig(QString(64, 'a') + ".example", c.offline);
    } else {
        configure(c.offline);
        server.setFault(c.fault, c.param);
    }
    const std::string err = captureStderr([&] {
        KEOMobile::trackState("A", {});
        KEOMobile::trackState("B", {});
        if (c.settleRows < 0)
            std::this_thread::sleep_for(milliseconds(c.settleMs));
        else
            EXPECT_TRUE(waitForRows(c.settleRows, milliseconds(c.settleMs)));
        if (c.mend)
            server.setFault(Fault::None);
        std::this_thread::sleep_for(milliseconds(c.afterMs));
    });
    const size_t lines =
        countOf(libraryLines(err), "KEOMobile Error: Analytics - Unable to send hit(");
    EXPECT_GE(lines, c.minLines);
    EXPECT_LE(lines, c.maxLines);
    std::string arrived;
    for (const std::string &page : pages(server.hits()))
        arrived += (arrived.empty() ? "" : ",") + page;
    if (std::string(c.arrived) == "A+")
        EXPECT_TRUE(arrived.size() >= 3 && arrived.find_first_not_of("A,") == std::string::npos)
            << arrived;
    else
        EXPECT_EQ(arrived, c.arrived);
    EXPECT_EQ(dir.hitRows(), c.rowsLeft);
}

const size_t kMany = 100000;
// A delay the transfer time-out cuts short, with time to spare.
const int kBeyondTransfer = TRANSFER_TIMEOUT_SECONDS * 1000 + 2000;
// One case in one or two lines; offline tracking is on unless a case says otherwise.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Matrix, DeliveryFaults,
    ::testing::Values(
        FaultCase{.name = "OnRefusedKeptAndPaused", .fault = Fault::Refuse, .settleMs = 1500,
                  .mend = true, .afterMs = 2000, .minLines = 1, .maxLines = 1, .rowsLeft = 2},
        FaultCase{.name = "OnUnresolvableKeptAndPaused", .settleMs = 1500, .minLines = 1,
                  .maxLines = 1, .rowsLeft = 2},
        FaultCase{.name = "OnTimeOutDeletedAndPaused", .fault = Fault::Delay,
                  .param = kBeyondTransfer, .settleRows = 1, .settleMs = kBeyondTransfer + 3000,
                  .mend = true, .afterMs = 1500, .minLines = 1, .maxLines = 1, .arrived = "A",
                  .rowsLeft = 1},
        FaultCase{.name = "OnErrorStatusDelivered", .fault = Fault::HttpError, .param = 503,
                  .settleRows = 0, .settleMs = 5000, .arrived = "A,B"},
        FaultCase{.name = "OnClosedDeletedAndPaused", .fault = Fault::CloseConnection,
                  .settleRows = 1, .settleMs = 3000, .mend = true, .afterMs = 2000, .minLines = 1,
                  .maxLines = 1, .arrived = "A", .rowsLeft = 1},
        FaultCase{.name = "OnSlowDelivered", .fault = Fault::Slow, .param = 1500, .settleRows = 0,
                  .settleMs = 8000, .arrived = "A,B"},
        FaultCase{.name = "OffRefusedRetriedAtOnce", .offline = false, .fault = Fault::Refuse,
                  .settleMs = 1000, .mend = true, .afterMs = 1500, .minLines = 2,
                  .maxLines = kMany, .arrived = "A,B"},
        // The one attempt outlasts the five seconds: no line, the hit goes, the next is sent.
        FaultCase{.name = "OffTimeOutDeletedSilently", .offline = false, .fault = Fault::Delay,
                  .param = kBeyondTransfer, .settleRows = 1, .settleMs = kBeyondTransfer + 3000,
                  .afterMs = 500, .arrived = "A,B", .rowsLeft = 1},
        FaultCase{.name = "OffErrorStatusDelivered", .offline = false, .fault = Fault::HttpError,
                  .param = 404, .settleRows = 0, .settleMs = 5000, .arrived = "A,B"},
        // Nothing behind a failing hit is tried while it is retried.
        FaultCase{.name = "OffClosedRetriedAtOnce", .offline = false,
                  .fault = Fault::CloseConnection, .settleMs = 1500, .minLines = 2,
                  .maxLines = kMany, .arrived = "A+", .rowsLeft = 2},
        FaultCase{.name = "OffSlowDelivered", .offline = false, .fault = Fault::Slow,
                  .param = 1500, .settleRows = 0, .settleMs = 8000, .arrived = "A,B"}),
    [](const ::testing::TestParamInfo<FaultCase> &info) { return std::string(info.param.name); });
// clang-format on

// With offline tracking off a hit more than five seconds old is sent once and deleted whatever
// the answer; at five seconds it is kept. Ages compare as unsigned 32-bit numbers, so a time
// stamp of -1 never counts as old. The clock is frozen, the server closes every connection.
TEST_F(Delivery, AgeRuleAtFiveAndSixSecondsAndUnsigned) {
    const long now = QDateTime(QDate(2026, 6, 1), QTime(12, 0), Qt::UTC).toSecsSinceEpoch();
    const std::vector<std::pair<std::vector<std::pair<std::string, long>>, std::string>> cases{
        {{{"Old60", now - 60},
          {"Old6", now - AGE_LIMIT_SECONDS - 1},
          {"Old5", now - AGE_LIMIT_SECONDS}},
         "Old5"},
        {{{"Minus1", -1}}, "Minus1"}};
    configure(false);
    server.setFault(Fault::CloseConnection);
    for (const auto &[rows, kept] : cases) {
        SCOPED_TRACE(kept);
        server.clear();
        leaveRows(rows);
        SelfProcess child(SelfProcess::fakeClock("FAKETIME=2026-06-01 12:00:00",
                                                 {"TZ=UTC0", "KEO_DELIVERY_CHILD=1"}));
        std::vector<std::string> lines;
        child.readUntil(steady_clock::now() + 30s, lines, 1);
        child.wait(1500); // then killed
        const std::vector<std::string> left = dir.queuedUrls();
        EXPECT_TRUE(left.size() == 1 && var(hitOf(left[0]), "pageName") == kept) << left.size();
        std::map<std::string, int> sent;
        for (const std::string &page : pages(server.hits()))
            ++sent[page];
        for (const auto &[page, stamp] : rows)
            if (page == kept)
                EXPECT_GE(sent[page], 2);
            else
                EXPECT_EQ(sent[page], 1) << page;
        QFile::remove(dir.file("data/KEOAnalyticsCache.sqlite"));
    }
}

// A table that can't be used costs every hit, with one line per hit, and the process goes on.
TEST(DeliveryWithoutTable, EachCauseLogsItsLinesAndEveryHitIsLost) {
    struct Case {
        std::function<void(WorkDir &)> prepare;
        std::string firstLines; // what the table's making writes (its start, for a path)
        size_t lines;           // in all, one "Unable to insert" per hit included
    };
    const Case cases[] = {
        {[](WorkDir &dir) { QDir(dir.file("data")).removeRecursively(); },
         "Analytics - Unable to open database (", 4}, // and the preferences' line
        {[](WorkDir &dir) { dir.write("data/KEOAnalyticsCache.sqlite", "not a database"); },
         "Analytics - unable to create SQLITE database (file is not a database)\n", 3},
        {[](WorkDir &dir) {
             sqlite3 *db = nullptr;
             sqlite3_open(dir.file("data/KEOAnalyticsCache.sqlite").toUtf8().constData(), &db);
             sqlite3_exec(db, "CREATE TABLE HITS (other)", nullptr, nullptr, nullptr);
             sqlite3_close(db);
         },
         "Analytics - Can't prep SQL statement for queue function\n"
         "KEOMobile Error: Analytics - Can't prep SQL statement for delete function\n"
         "KEOMobile Error: Analytics - Can't prep SQL statement for select function\n",
         5}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.firstLines);
        inChild([&] {
            WorkDir dir;
            dir.writeConfig("127.0.0.1:9", true);
            c.prepare(dir);
            const std::string err = libraryLines(captureStderr([] {
                KEOMobile::trackState("A", {});
                KEOMobile::trackState("B", {});
                std::this_thread::sleep_for(200ms);
            }));
            EXPECT_EQ(countOf(err, "KEOMobile Error: " + c.firstLines), 1u) << err;
            const std::string insert =
                "KEOMobile Error: Analytics - Unable to insert url(http://127.0.0.1:9/";
            EXPECT_EQ(countOf(err, insert), 2u) << err;
            EXPECT_EQ(countOf(err, "\n"), c.lines) << err;
        });
    }
}

int main(int argc, char **argv) {
    if (getenv("KEO_DELIVERY_CHILD")) {
        SelfProcess::report("go");
        KEOAnalyticsWorker::sharedInstance();
        for (;;)
            pause();
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
