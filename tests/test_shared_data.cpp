// Several processes of one application in one working directory, as a desktop user starts them:
// together they lose no hit and send none twice, make one visitor identifier, and keep every
// preference key and launch that each of them wrote. The processes are copies of this program,
// started at once; each waits for the file "go" so that their first calls meet.
#include "KEOLifecycle.h"
#include "KEOMobile.h"
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <map>
#include <memory>
#include <set>

#include <unistd.h>

using namespace std::chrono;

namespace {

const char *kPreferences = "data/KEOPreferences.json";
const int kHitsEach = 1000;

QJsonObject preferences() {
    QFile file(kPreferences);
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).object();
}

// "track": its share of hits, then a normal end, whatever is left in the table. "prefs": its own
// key 100 times, the file checked after each write, and a visit to the front after every fourth.
// "aid": the visitor identifier. "idle": one hit, delivered, then nothing more of its own.
int runChild(const std::string &role, int id) {
    if (role == "idle") {
        KEOMobile::trackState("Idle", {{"seq", "idle"}});
        waitFor([] { return hitRowsAt("data/KEOAnalyticsCache.sqlite") == 0; }, seconds(30));
        SelfProcess::report("idle");
        for (;;)
            pause();
    }
    waitFor([] { return QFile::exists("go"); }, seconds(30), milliseconds(1));
    const QString key = id == 0 ? "KeyA" : "KeyB";
    for (int i = 0; role == "track" && i < kHitsEach; ++i)
        KEOMobile::trackState("Shared", {{"seq", QString("%1-%2").arg(id).arg(i)}});
    for (int i = 0; role == "prefs" && i < 100; ++i) {
        const QString value = QString("%1-%2").arg(key).arg(i);
        KEOSharedPreferences::sharedInstance()->putString(key, value);
        if (preferences().value(key) != value)
            SelfProcess::report("file wrong after " + value.toStdString());
        if (i % 4 == 3) {
            KEOLifecycle::start();
            KEOLifecycle::stop();
        }
    }
    if (role == "aid")
        SelfProcess::report(KEOStatic::getServerVisitorID().toStdString());
    if (role == "prefs") // its launches delivered
        waitFor([] { return hitRowsAt("data/KEOAnalyticsCache.sqlite") == 0; }, seconds(60));
    exit(0); // a normal end, exit handlers included
}

// Starts n copies in the current directory, then lets them go together.
std::vector<std::unique_ptr<SelfProcess>> startTogether(const std::string &role, int n) {
    QFile::remove("go");
    std::vector<std::unique_ptr<SelfProcess>> copies;
    for (int id = 0; id < n; ++id)
        copies.push_back(std::make_unique<SelfProcess>(
            std::vector<std::string>{"KEO_SHARED_CHILD=" + role,
                                     "KEO_SHARED_ID=" + std::to_string(id)},
            QStringList(), QProcess::MergedChannels));
    QFile go("go");
    go.open(QIODevice::WriteOnly);
    return copies;
}

class SharedData : public LoopbackTest {};

} // namespace

// Three copies start together, so that their first hits create the table at once, and end as
// soon as they have tracked, in the middle of their delivery. What they leave is delivered by a
// fourth that tracks nothing more: every hit arrives exactly once, with no error line.
TEST_F(SharedData, ProcessesLoseNoHitSendNoneTwiceAndLeaveNoRowBehind) {
    configure(true);
    SelfProcess idle({"KEO_SHARED_CHILD=idle"});
    std::vector<std::string> lines;
    idle.readUntil(steady_clock::now() + seconds(30), lines, 1);
    ASSERT_EQ(lines, std::vector<std::string>{"idle"});
    auto copies = startTogether("track", 3);
    for (auto &copy : copies) {
        EXPECT_EQ(copy->wait(60000), 0);
        EXPECT_EQ(libraryLines(copy->output().toStdString()), "");
    }
    const int left = dir.hitRows();
    waitForHits(1 + 3 * kHitsEach, seconds(60));
    EXPECT_TRUE(waitForRows(0));
    std::this_thread::sleep_for(milliseconds(500)); // time for a second sending to show
    std::map<std::string, int> arrivals;
    for (const collector::Hit &hit : server.hits())
        ++arrivals[ctx(hit, "seq")];
    printf("3 processes, %d hits: received %zu, distinct %zu, left to the idle one %d\n",
           3 * kHitsEach, server.count(), arrivals.size(), left);
    EXPECT_EQ(server.count(), 1u + 3 * kHitsEach);
    EXPECT_EQ(arrivals.size(), 1u + 3 * kHitsEach);
    EXPECT_GT(left, 0);
}

// Three first runs at once, ten times over in fresh directories: one identifier per installation.
TEST(SharedVisitorId, FirstRunsStartedTogetherShareOneIdentifier) {
    for (int round = 0; round < 10; ++round) {
        WorkDir dir;
        std::set<std::string> seen;
        for (auto &copy : startTogether("aid", 3)) {
            copy->wait(30000);
            for (const QByteArray &line : copy->output().split('\n'))
                if (QRegularExpression("^[0-9A-F]{16}-[0-9A-F]{16}$").match(line).hasMatch())
                    seen.insert(line.toStdString());
        }
        EXPECT_EQ(seen, std::set<std::string>{preferences().value("aid").toString().toStdString()})
            << "round " << round;
    }
}

// Two processes each set a key of their own 100 times and come to the front 25 times, with no
// session timeout: the file holds the writer's value after every write, both keys end with their
// last values, and the launches, one whenever neither was in front, are numbered from 1 without a
// gap or a repeat.
TEST_F(SharedData, TwoWritersKeepEachOthersKeysAndEveryLaunch) {
    configure(true, "\"lifecycleTimeout\": 0");
    for (auto &copy : startTogether("prefs", 2)) {
        EXPECT_EQ(copy->wait(120000), 0);
        EXPECT_EQ(copy->output().toStdString().find("file wrong"), std::string::npos);
    }
    EXPECT_EQ(preferences().value("KeyA").toString(), "KeyA-99");
    EXPECT_EQ(preferences().value("KeyB").toString(), "KeyB-99");
    const int made = preferences().value("Launches").toString().toInt();
    printf("2 writers, 50 visits to the front: %d launches\n", made);
    ASSERT_GE(made, 1);
    std::set<int> launches;
    for (const collector::Hit &hit : waitForHits(made))
        launches.insert(std::stoi(ctx(hit, "a.Launches")));
    EXPECT_EQ(server.count(), static_cast<size_t>(made));
    EXPECT_EQ(launches.size(), static_cast<size_t>(made));
    EXPECT_EQ(*launches.begin(), 1);
    EXPECT_EQ(*launches.rbegin(), made);
}

int main(int argc, char **argv) {
    if (const char *role = getenv("KEO_SHARED_CHILD"))
        return runChild(role, getenv("KEO_SHARED_ID") ? atoi(getenv("KEO_SHARED_ID")) : 0);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
