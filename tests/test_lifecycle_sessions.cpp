// Session decisions of KEOLifecycle::start() and stop(): resume or new launch, the three stored
// session values, and the session length. Each test drives start/stop directly in child
// processes whose clock is frozen at whole seconds since 1970 (times 1000, 1100, ...), with the
// session timeout at 300 s unless the test says otherwise.
#include "LifecycleLab.h"

#include <gtest/gtest.h>

namespace {

void expectClean(const ChildRun &run) {
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
}

} // namespace

TEST(LifecycleSessions, WorkedRunThroughResumeTimeoutAndKill) {
    LifecycleLab lab;
    const ChildRun first =
        lab.run({"start@1000", "stop@1100", "start@1200", "stop@1250", "start@2000", "kill@2100"});
    ASSERT_TRUE(first.killed) << first.output.toStdString();
    EXPECT_EQ(session(first.after("start@1000")), "start=1000 pause=0 closed=0");
    EXPECT_EQ(session(first.after("stop@1100")), "start=1000 pause=1100 closed=1");
    EXPECT_EQ(session(first.after("start@1200")), "start=1100 pause=1100 closed=1");
    EXPECT_EQ(session(first.after("stop@1250")), "start=1100 pause=1250 closed=1");
    EXPECT_EQ(session(first.after("start@2000")), "start=2000 pause=0 closed=0");
    EXPECT_EQ(session(first.after("kill@2100")), "start=2000 pause=0 closed=0");

    ASSERT_EQ(first.hits.size(), 2u);
    const std::vector<collector::DecodedHit> launches = first.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[0], "a.InstallEvent"), "InstallEvent");
    EXPECT_EQ(ctx(launches[0], "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(ctx(launches[1], "a.InstallEvent"), kAbsent);
    EXPECT_EQ(ctx(launches[1], "a.CrashEvent"), kAbsent);
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), "150");

    const ChildRun second = lab.run({"start@2500"});
    expectClean(second);
    EXPECT_EQ(session(second.after("start@2500")), "start=2500 pause=0 closed=0");
    const std::vector<collector::DecodedHit> relaunch = second.lifecycleHits();
    ASSERT_EQ(relaunch.size(), 1u);
    EXPECT_EQ(ctx(relaunch[0], "a.CrashEvent"), "CrashEvent");
    EXPECT_EQ(ctx(relaunch[0], "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(ctx(relaunch[0], "a.Launches"), "3");
}

TEST(LifecycleSessions, FirstStartStoresVersionAndOpenSession) {
    LifecycleLab lab("2.5");
    const ChildRun run = lab.run({"start@1000"});
    expectClean(run);
    const QVariantMap prefs = run.after("start@1000");
    EXPECT_EQ(session(prefs), "start=1000 pause=0 closed=0");
    EXPECT_EQ(pref(prefs, "LastVersion"), "2.5");
    EXPECT_EQ(pref(prefs, "Launches"), "1");
    ASSERT_EQ(run.lifecycleHits().size(), 1u);
    EXPECT_EQ(ctx(run.lifecycleHits()[0], "a.CrashEvent"), kAbsent);
}

TEST(LifecycleSessions, PauseShorterThanTimeoutResumesWithoutHit) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"start@1000", "stop@1100", "start@1399"});
    expectClean(run);
    EXPECT_EQ(session(run.after("start@1399")), "start=1299 pause=1100 closed=1");
    EXPECT_EQ(pref(run.after("start@1399"), "Launches"), "1");
    EXPECT_EQ(run.lifecycleHits().size(), 1u);
}

TEST(LifecycleSessions, PauseOfExactlyTimeoutLaunchesButKeepsOldStartAndReportsNoLength) {
    LifecycleLab lab;
    const ChildRun run =
        lab.run({"start@1000", "stop@1100", "start@1400", "stop@1500", "start@2000"});
    expectClean(run);
    EXPECT_EQ(session(run.after("start@1400")), "start=1000 pause=0 closed=0");
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 3u);
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(ctx(launches[1], "a.CrashEvent"), kAbsent);
    // The kept start makes the next length include the 300 s pause.
    EXPECT_EQ(ctx(launches[2], "a.PrevSessionLength"), "500");
}

TEST(LifecycleSessions, PauseLongerThanTimeoutReportsLengthAndRestartsSession) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"start@1000", "stop@1100", "start@1401"});
    expectClean(run);
    EXPECT_EQ(session(run.after("start@1401")), "start=1401 pause=0 closed=0");
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), "100");
}

TEST(LifecycleSessions, ConfiguredTimeoutDecidesResume) {
    LifecycleLab lab("1.0", "\"lifecycleTimeout\": 60");
    const ChildRun run =
        lab.run({"start@1000", "stop@1100", "start@1159", "stop@1200", "start@1261"});
    expectClean(run);
    EXPECT_EQ(session(run.after("start@1159")), "start=1059 pause=1100 closed=1");
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), "141");
}

TEST(LifecycleSessions, TimeoutBeyondSignedRangeNeverResumes) {
    LifecycleLab lab("1.0", "\"lifecycleTimeout\": 2147483648");
    const ChildRun run = lab.run({"start@1000", "stop@1100", "start@1101"});
    expectClean(run);
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    // Negative, so even the 1 s pause is longer than the timeout.
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), "100");
    EXPECT_EQ(session(run.after("start@1101")), "start=1101 pause=0 closed=0");
}

TEST(LifecycleSessions, StartTwiceWithoutStopReportsSecondLaunchAsCrash) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"start@1000", "start@1010"});
    expectClean(run);
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[1], "a.CrashEvent"), "CrashEvent");
    EXPECT_EQ(ctx(launches[1], "a.Launches"), "2");
    EXPECT_EQ(ctx(launches[1], "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(session(run.after("start@1010")), "start=1010 pause=0 closed=0");
}

TEST(LifecycleSessions, SecondStopOnlyMovesPauseTime) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"start@1000", "stop@1100", "stop@1200", "start@1250"});
    expectClean(run);
    QVariantMap once = run.after("stop@1100");
    QVariantMap twice = run.after("stop@1200");
    EXPECT_EQ(pref(twice, "PauseTime"), "1200");
    once.remove("PauseTime");
    twice.remove("PauseTime");
    EXPECT_TRUE(once == twice);
    // The resume measures its pause from the later stop.
    EXPECT_EQ(session(run.after("start@1250")), "start=1050 pause=1200 closed=1");
}

TEST(LifecycleSessions, StopBeforeAnyStartMakesNextShortPauseAnInstall) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"stop@1000", "start@1100"});
    expectClean(run);
    EXPECT_EQ(session(run.after("stop@1000")), "start=- pause=1000 closed=1");
    EXPECT_EQ(session(run.after("start@1100")), "start=1100 pause=0 closed=0");
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 1u);
    EXPECT_EQ(ctx(launches[0], "a.InstallEvent"), "InstallEvent");
    EXPECT_EQ(ctx(launches[0], "a.PrevSessionLength"), kAbsent);
}

TEST(LifecycleSessions, ClockSetBackResumesAndMovesStartBackward) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"start@1000", "stop@1100", "start@1040"});
    expectClean(run);
    EXPECT_EQ(session(run.after("start@1040")), "start=940 pause=1100 closed=1");
    EXPECT_EQ(run.lifecycleHits().size(), 1u);
}

TEST(LifecycleSessions, CrashSilencesLengthOfUnfinishedSession) {
    LifecycleLab lab;
    // A run that stored a pause and then died before its flags were reset.
    lab.dir().write("data/KEOPreferences.json",
                    "{\"InstallDate\": \"1970-01-01T00:10:00\", \"LastUsedDate\": "
                    "\"1970-01-01T00:10:00\", \"Launches\": \"3\", \"LastVersion\": \"1.0\", "
                    "\"SuccessfulClose\": \"0\", \"PauseTime\": \"1000\", \"StartTime\": \"900\"}");
    const ChildRun run = lab.run({"start@2000"});
    expectClean(run);
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 1u);
    EXPECT_EQ(ctx(launches[0], "a.CrashEvent"), "CrashEvent");
    EXPECT_EQ(ctx(launches[0], "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(session(run.after("start@2000")), "start=2000 pause=0 closed=0");
}
