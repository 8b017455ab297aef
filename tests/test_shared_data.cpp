// Several processes of one application in one working directory, as a desktop user starts them:
// together they lose no hit and send none twice, make one visitor identifier, and keep every
// preference key and every launch that each of them wrote. The processes are copies of this
// program, started at once; each waits for the file "go" so that their first calls meet.
#include "KEOLifecycle.h"
#include "KEOMobile.h"
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <map>
#include <memory>
#include <set>
#include <thread>

#include <unistd.h>

using namespace std::chrono;

namespace {

const char *kHitTable = "data/KEOAnalyticsCache.sqlite";
const char *kPreferences = "data/KEOPreferences.json";
const int kHitsEach = 1000;

void waitForGo() {
    waitFor([] { return QFile::exists("go"); }, seconds(30), milliseconds(1));
}

// Copy 0 ends as soon as it has tracked, leaving its rows to the others; the rest stay until the
// table is empty.
void trackAndDeliver(int id) {
    waitForGo();
    for (int k = 0; k < kHitsEach; ++k)
        KEOMobile::trackState("Shared", {{"seq", QString("%1-%2").arg(id).arg(k)}});
    if (id > 0)
        waitFor([] { return hitRowsAt(kHitTable) == 0; }, seconds(120), milliseconds(50));
    exit(0); // a normal end, exit handlers included
}

// Sets its own key 100 times, checking the whole file after each write, and makes a new launch
// after every fourth write.
void writePreferences(int id) {
    const QString key = id == 0 ? "KeyA" : "KeyB";
    waitForGo();
    for (int i = 0; i < 100; ++i) {
        const QString value = QString("%1-%2").arg(key).arg(i);
        KEOSharedPreferences::sharedInstance()->putString(key, value);
        QFile file(kPreferences);
        file.open(QIODevice::ReadOnly);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
        if (error.error != QJsonParseError::NoError || document.object().value(key) != value)
            SelfProcess::report("file wrong after " + value.toStdString());
        if (i % 4 == 3)
            KEOLifecycle::start();
    }
    waitFor([] { return hitRowsAt(kHitTable) == 0; }, seconds(60), milliseconds(50));
    exit(0);
}

int runChild(const std::string &role, int id) {
    if (role == "idle") { // one hit, delivered, then nothing more of its own
        KEOMobile::trackState("Idle", {{"seq", "idle"}});
        waitFor([] { return hitRowsAt(kHitTable) == 0; }, seconds(30));
        SelfProcess::report("idle");
        for (;;)
            pause();
    }
    if (role == "track")
        trackAndDeliver(id);
    else if (role == "prefs")
        writePreferences(id);
    waitForGo(); // "aid"
    SelfProcess::report(KEOStatic::getServerVisitorID().toStdString());
    return 0;
}

// Starts n copies in the current directory, then lets them go together.
std::vector<std::unique_ptr<SelfProcess>>
startTogether(const std::string &role, int n,
              QProcess::ProcessChannelMode channels = QProcess::MergedChannels) {
    QFile::remove("go");
    std::vector<std::unique_ptr<SelfProcess>> copies;
    for (int id = 0; id < n; ++id)
        copies.push_back(std::make_unique<SelfProcess>(
            std::vector<std::string>{"KEO_SHARED_CHILD=" + role,
                                     "KEO_SHARED_ID=" + std::to_string(id)},
            QStringList(), channels));
    QFile go("go");
    go.open(QIODevice::WriteOnly);
    return copies;
}

class SharedData : public LoopbackTest {};

} // namespace

// Started together, so that the first hits of all three create the table at once; copy 0 ends
// while the others still deliver. The table is emptied with every hit sent exactly once.
TEST_F(SharedData, ThreeProcessesLoseNoHitAndSendNoneTwice) {
    configure(true);
    auto copies = startTogether("track", 3);
    for (auto &copy : copies) {
        EXPECT_EQ(copy->wait(180000), 0);
        EXPECT_EQ(libraryLines(copy->output().toStdString()), "");
    }
    waitForHits(3 * kHitsEach, seconds(30));
    std::this_thread::sleep_for(milliseconds(500)); // time for a second sending to show
    std::map<std::string, int> arrivals;
    for (const collector::Hit &hit : server.hits())
        ++arrivals[ctx(hit, "seq")];
    int duplicates = 0;
    for (const auto &[seq, times] : arrivals)
        duplicates += times - 1;
    printf("3 processes, %d hits: received %zu, distinct %zu, duplicates %d, rows left %d\n",
           3 * kHitsEach, server.count(), arrivals.size(), duplicates, dir.hitRows());
    EXPECT_EQ(arrivals.size(), 3u * kHitsEach);
    EXPECT_EQ(duplicates, 0);
    EXPECT_EQ(arrivals.count("<missing>"), 0u);
    EXPECT_EQ(dir.hitRows(), 0);
}

// A process that ends in the middle of its delivery leaves its rows to one that is still running
// but tracks nothing more: they arrive without a hit of its.
TEST_F(SharedData, RowsOfAnEndedProcessAreDeliveredByAnIdleOne) {
    configure(true);
    SelfProcess idle({"KEO_SHARED_CHILD=idle"});
    std::vector<std::string> lines;
    idle.readUntil(steady_clock::now() + seconds(30), lines, 1);
    ASSERT_EQ(lines, std::vector<std::string>{"idle"});
    auto copies = startTogether("track", 1); // copy 0: ends as soon as it has tracked
    EXPECT_EQ(copies[0]->wait(30000), 0);
    const int left = dir.hitRows();
    waitForHits(1 + kHitsEach, seconds(30));
    printf("rows left by the ended process: %d\n", left);
    EXPECT_GT(left, 0);
    EXPECT_TRUE(waitForRows(0));
}

// Three first runs at once, ten times over in fresh directories: one identifier per installation.
TEST(SharedVisitorId, FirstRunsStartedTogetherShareOneIdentifier) {
    for (int round = 0; round < 10; ++round) {
        WorkDir dir;
        auto copies = startTogether("aid", 3, QProcess::ForwardedErrorChannel);
        std::set<std::string> seen;
        for (auto &copy : copies) {
            std::vector<std::string> lines;
            copy->readUntil(steady_clock::now() + seconds(30), lines, 1);
            ASSERT_EQ(lines.size(), 1u);
            seen.insert(lines[0]);
        }
        const QString stored =
            QJsonDocument::fromJson(dir.read(kPreferences)).object().value("aid").toString();
        EXPECT_EQ(seen, std::set<std::string>{stored.toStdString()}) << "round " << round;
    }
}

// Two processes each set a key of their own 100 times and count 25 launches: the file parses
// after every write, both keys end with their last values, and the 50 launches are numbered 1 to
// 50 without a gap or a repeat.
TEST_F(SharedData, TwoWritersKeepEachOthersKeysAndEveryLaunch) {
    configure(true);
    auto copies = startTogether("prefs", 2);
    for (auto &copy : copies) {
        EXPECT_EQ(copy->wait(120000), 0);
        EXPECT_EQ(copy->output().toStdString().find("file wrong"), std::string::npos);
    }
    const QJsonObject file = QJsonDocument::fromJson(dir.read(kPreferences)).object();
    EXPECT_EQ(file.value("KeyA").toString(), "KeyA-99");
    EXPECT_EQ(file.value("KeyB").toString(), "KeyB-99");
    EXPECT_EQ(file.value("Launches").toString(), "50");
    std::set<std::string> launches, oneToFifty;
    for (const collector::Hit &hit : waitForHits(50))
        launches.insert(ctx(hit, "a.Launches"));
    for (int n = 1; n <= 50; ++n)
        oneToFifty.insert(std::to_string(n));
    EXPECT_EQ(launches, oneToFifty);
}

int main(int argc, char **argv) {
    if (const char *role = getenv("KEO_SHARED_CHILD"))
        return runChild(role, getenv("KEO_SHARED_ID") ? atoi(getenv("KEO_SHARED_ID")) : 0);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
