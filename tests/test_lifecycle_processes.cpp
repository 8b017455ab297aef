// One application that runs as several processes in one working directory: the application, not
// the process, is launched and used. The processes are copies of this program that take the
// lines "awake" and "asleep" on their standard input and answer each when it is done. The session
// timeout is 0, so that every return to the front while no process is in front is a launch.
// KEO_FRONT_SEED sets the random seed of the mixed run (default from the clock; printed).
#include "KEOLifecycle.h"
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <algorithm>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>

using namespace std::chrono;

namespace {

int runChild() {
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "awake")
            KEOLifecycle::start();
        else if (line == "asleep")
            KEOLifecycle::stop();
        SelfProcess::report(line);
    }
    return 0;
}

class Process {
public:
    Process() : _copy({"KEO_FRONT_CHILD=1"}) {}
    // Sends the step and waits for its answer.
    void step(const std::string &line) {
        _copy.send(line);
        std::vector<std::string> lines;
        _copy.readUntil(steady_clock::now() + seconds(30), lines, 1);
        ASSERT_EQ(lines, std::vector<std::string>{line});
    }
    void send(const std::string &line) { _copy.send(line); }
    void kill() { _copy.kill(); }

private:
    SelfProcess _copy;
};

class LifecycleProcesses : public LoopbackTest {
protected:
    void SetUp() override {
        configure(true, "\"lifecycleTimeout\": 0");
        dir.writeDescriptor("Lab", "1.0");
    }
    // Waits until every hit stored is delivered (or none was ever stored), so that a kill takes
    // no hit in flight.
    void delivered() {
        ASSERT_TRUE(waitFor([this] { return dir.hitRows() <= 0; }, seconds(30)));
    }
    // The launch hits received, by launch number: "crash" or "clean" each.
    std::map<int, std::string> launches(size_t n) {
        delivered();
        std::map<int, std::string> found;
        for (const collector::Hit &hit : waitForHits(n, seconds(30)))
            found[std::stoi(ctx(hit, "a.Launches"))] =
                ctx(hit, "a.CrashEvent") == "CrashEvent" ? "crash" : "clean";
        EXPECT_EQ(server.count(), n);
        return found;
    }
};

} // namespace

TEST_F(LifecycleProcesses, TwoInFrontTogetherBothClosingCleanlyMakeOneLaunchAndNoCrash) {
    Process a, b, later;
    a.step("awake");
    b.step("awake");
    a.step("asleep");
    b.step("asleep");
    delivered();
    later.step("awake");
    later.step("asleep");
    EXPECT_EQ(launches(2), (std::map<int, std::string>{{1, "clean"}, {2, "clean"}}));
}

TEST_F(LifecycleProcesses, OneKilledBesideAnotherThatClosesCleanlyIsReportedOnceAtTheNextLaunch) {
    Process a, b, later;
    a.step("awake");
    b.step("awake");
    delivered();
    b.kill();
    a.step("asleep");
    later.step("awake");
    later.step("asleep");
    later.step("awake");
    later.step("asleep");
    EXPECT_EQ(launches(3), (std::map<int, std::string>{{1, "clean"}, {2, "crash"}, {3, "clean"}}));
}

// Four processes come to the front and leave it at random, and are killed at random, in front or
// not, and replaced. The expected launches follow from the steps alone: a launch at each return
// to the front while none is in front, reporting a crash when a process was killed in front since
// the last one.
TEST_F(LifecycleProcesses, FourAtRandomWithKillsGiveGaplessLaunchesAndReportEveryKillOnce) {
    const char *seedText = getenv("KEO_FRONT_SEED");
    const unsigned long seed =
        seedText ? strtoul(seedText, nullptr, 10) : system_clock::now().time_since_epoch().count();
    printf("seed %lu (KEO_FRONT_SEED)\n", seed);
    std::mt19937_64 random(seed);
    std::vector<std::unique_ptr<Process>> processes;
    std::vector<bool> inFront(4, false);
    for (int i = 0; i < 4; ++i)
        processes.push_back(std::make_unique<Process>());
    std::map<int, std::string> expected;
    bool crashPending = false;
    int kills = 0, killsInFront = 0;
    const auto end = steady_clock::now() + seconds(20);
    while (steady_clock::now() < end && !HasFatalFailure()) {
        const int i = static_cast<int>(random() % 4);
        const int draw = static_cast<int>(random() % 10);
        if (draw == 0) {
            delivered();
            processes[i]->kill();
            processes[i] = std::make_unique<Process>();
            ++kills;
            killsInFront += inFront[i] ? 1 : 0;
            crashPending = crashPending || inFront[i];
            inFront[i] = false;
        } else if (inFront[i]) {
            processes[i]->step("asleep");
            inFront[i] = false;
        } else {
            if (std::find(inFront.begin(), inFront.end(), true) == inFront.end()) {
                expected[static_cast<int>(expected.size()) + 1] = crashPending ? "crash" : "clean";
                crashPending = false;
            }
            processes[i]->step("awake");
            inFront[i] = true;
        }
    }
    int crashes = 0;
    for (const auto &launch : expected)
        crashes += launch.second == "crash" ? 1 : 0;
    printf("4 processes, %d kills (%d in front), %zu launches, %d reporting a crash\n", kills,
           killsInFront, expected.size(), crashes);
    EXPECT_EQ(launches(expected.size()), expected);
}

// With a session timeout of 2 s, a return to the front at once resumes and one after 2.1 s
// launches. A process alone in a resumed session that is killed there is no crash, as with one
// process; once another process has joined that session, its death is one.
class LifecycleResumedProcesses : public LifecycleProcesses {
protected:
    void SetUp() override {
        configure(true, "\"lifecycleTimeout\": 2");
        dir.writeDescriptor("Lab", "1.0");
    }
};

TEST_F(LifecycleResumedProcesses, KilledAloneAfterAResumeIsNoCrashKilledAfterAnotherJoinedIsOne) {
    Process a, b, c, d;
    a.step("awake");
    a.step("asleep");
    a.step("awake");
    delivered();
    a.kill();
    std::this_thread::sleep_for(milliseconds(2100));
    b.step("awake");
    b.step("asleep");
    b.step("awake");
    c.step("awake");
    delivered();
    b.kill();
    c.step("asleep");
    std::this_thread::sleep_for(milliseconds(2100));
    d.step("awake");
    d.step("asleep");
    EXPECT_EQ(launches(3), (std::map<int, std::string>{{1, "clean"}, {2, "clean"}, {3, "crash"}}));
}

// Launches killed at any moment: a copy is killed 0 to 40 ms after it was told to come to the
// front, alone, 60 times over, each kill followed by a copy that comes to the front and leaves it
// cleanly. The hits wait in the table (the collector's port is closed): one launch hit per
// number, numbered from 1 without a gap, as many as the stored count of launches.
TEST(LifecycleLaunchKills, LaunchesKilledAtAnyMomentLeaveNoGapAndNoRepeat) {
    WorkDir dir;
    dir.writeConfig("127.0.0.1:9", true, "\"lifecycleTimeout\": 0");
    dir.writeDescriptor("Lab", "1.0");
    const char *seedText = getenv("KEO_FRONT_SEED");
    const unsigned long seed =
        seedText ? strtoul(seedText, nullptr, 10) : system_clock::now().time_since_epoch().count();
    printf("seed %lu (KEO_FRONT_SEED)\n", seed);
    std::mt19937_64 random(seed);
    for (int round = 0; round < 60 && !HasFatalFailure(); ++round) {
        {
            Process killed;
            killed.send("awake");
            std::this_thread::sleep_for(microseconds(random() % 40000));
            killed.kill();
        }
        Process clean;
        clean.step("awake");
        clean.step("asleep");
    }
    std::map<int, int> launches;
    for (const std::string &url : dir.queuedUrls())
        ++launches[std::stoi(ctx(hitOf(url), "a.Launches"))];
    QFile file("data/KEOPreferences.json");
    file.open(QIODevice::ReadOnly);
    const int stored =
        QJsonDocument::fromJson(file.readAll()).object().value("Launches").toString().toInt();
    printf("60 kills, %d launches\n", stored);
    std::map<int, int> expected;
    for (int n = 1; n <= stored; ++n)
        expected[n] = 1;
    EXPECT_GE(stored, 60);
    EXPECT_EQ(launches, expected);
}

int main(int argc, char **argv) {
    if (getenv("KEO_FRONT_CHILD"))
        return runChild();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
