// The lifecycle over runs of an application, each case in a lab of its own: sessions, launch
// metrics across midnight, month ends, zones and summer time, upgrades, the handler's rules.
#include "LifecycleLab.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Case {
    const char *name, *script, *launches, *prefs = "";
};

// Compares the launch hits from the skip-th on (after "N: ", N notification handlers made, with
// `handlers`), and the preferences after every step or at the end.
void expectCases(const std::vector<Case> &cases, const QStringList &keys,
                 const QStringList &prefKeys, bool everyStep, int skip = 0, bool handlers = false) {
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        LifecycleLab lab;
        const int made = lab.play(c.script).count("initializing notification handler");
        EXPECT_EQ((handlers ? std::to_string(made) + ": " : "") + lab.launches(keys, skip),
                  c.launches);
        EXPECT_EQ(lab.prefs(prefKeys, everyStep), c.prefs);
    }
}

} // namespace

// Times in seconds since 1970; the session timeout is 300 s unless a case sets another.
TEST(LifecycleSessions, ResumeOrNewLaunchByThePauseAgainstTheTimeout) {
    expectCases(
        {
            {"worked run: resume, a timed-out pause, a kill in the foreground",
             "start@1000 stop@1100 start@1200 stop@1250 start@2000 kill@2100 | start@2500",
             "InstallEvent, Launches=1 | Launches=2, PrevSessionLength=150 | CrashEvent, "
             "Launches=3",
             "1000/0/0 1000/1100/1 1100/1100/1 1100/1250/1 2000/0/0 2000/0/0 2500/0/0"},
            {"pauses 1 s shorter and 1 s longer than the timeout",
             "start@1000 stop@1100 start@1399 stop@1400 start@1701",
             "InstallEvent, Launches=1 | Launches=2, PrevSessionLength=101",
             "1000/0/0 1000/1100/1 1299/1100/1 1299/1400/1 1701/0/0"},
            // A launch, yet no length: the old start stays, so the next length holds the pause.
            {"a pause of exactly the timeout",
             "start@1000 stop@1100 start@1400 stop@1500 start@2000",
             "InstallEvent, Launches=1 | Launches=2 | Launches=3, PrevSessionLength=500",
             "1000/0/0 1000/1100/1 1000/0/0 1000/1500/1 2000/0/0"},
            {"the configured timeout",
             "timeout=60 start@1000 stop@1100 start@1159 stop@1200 start@1261",
             "InstallEvent, Launches=1 | Launches=2, PrevSessionLength=141",
             "1000/0/0 1000/1100/1 1059/1100/1 1059/1200/1 1261/0/0"},
            // Negative as a signed 32-bit count: no pause is short enough.
            {"a timeout of 2^31 s", "timeout=2147483648 start@1000 stop@1100 start@1101",
             "InstallEvent, Launches=1 | Launches=2, PrevSessionLength=100",
             "1000/0/0 1000/1100/1 1101/0/0"},
            // A pause is known from its first second on; a length without a start is the pause.
            {"a pause at 1 s", "start@1 stop@1 start@300", "InstallEvent, Launches=1",
             "1/0/0 1/1/1 300/1/1"},
            {"a stop before any start", "stop@1 start@400",
             "InstallEvent, Launches=1, PrevSessionLength=1", "-/1/1 400/0/0"},
            // The resume measures from the later stop, and the clock set back is a resume too.
            {"a second stop, then the clock set back", "start@1000 stop@1100 stop@1200 start@1150",
             "InstallEvent, Launches=1", "1000/0/0 1000/1100/1 1000/1200/1 950/1200/1"},
            // Not closed, yet a pause stored: the crash leaves that session without a length.
            {"a crash silences a timed-out session",
             "prefs={\"InstallDate\":\"1970-01-01T00:10:00\",\"SuccessfulClose\":\"0\","
             "\"PauseTime\":\"1000\",\"StartTime\":\"900\",\"LastVersion\":\"1.0\","
             "\"Launches\":\"10\",\"UpgradeDate\":\"1970-01-01T00:10:00\","
             "\"LaunchesAfterUpgrade\":\"10\"} start@2000",
             "CrashEvent, Launches=11, LaunchesSinceUpgrade=11", "2000/0/0"},
            // A pause stamped before 1970 makes a new launch, yet only a positive one has a length.
            {"a pause before 1970",
             "prefs={\"PauseTime\":\"-100\",\"StartTime\":\"-200\","
             "\"SuccessfulClose\":\"1\",\"Launches\":\"3\"} start@2000",
             "InstallEvent, Launches=4", "-200/0/0"},
        },
        {"CrashEvent", "InstallEvent", "Launches", "LaunchesSinceUpgrade", "PrevSessionLength"},
        {"StartTime", "PauseTime", "SuccessfulClose"}, true);
}

// Every key of a first launch in local time: Tokyo, a day ahead of UTC at 2026-03-07 23:30 UTC.
TEST(LifecycleMetrics, FirstLaunchInLocalTime) {
    LifecycleLab lab;
    lab.play("TZ=Asia/Tokyo start@1772926200");
    EXPECT_EQ(lab.launches(), "AppID=Lab (1.0), DailyEngUserEvent, DayOfWeek=7, HourOfDay=8, "
                              "InstallDate=3/8/2026, InstallEvent, LaunchEvent, Launches=1, "
                              "MonthlyEngUserEvent");
    EXPECT_EQ(lab.prefs({"InstallDate", "LastUsedDate", "UpgradeDate"}),
              "2026-03-08T08:30:00/2026-03-08T08:30:00/-");
}

// Day counts are calendar differences and engagement compares calendar texts, against the last
// new launch, in local wall time (UTC unless set); the launches after the install are compared.
TEST(LifecycleMetrics, CalendarCountsAndEngagement) {
    expectCases(
        {
            {"23:59, 00:01 and 23:59 again",
             "timeout=60 launch@2026-03-07T23:59:00 launch@2026-03-08T00:01:00 "
             "launch@2026-03-08T23:59:00",
             "DailyEngUserEvent, DaysSinceFirstUse=1, DaysSinceLastUse=1 | "
             "DaysSinceFirstUse=1, DaysSinceLastUse=0"},
            {"the last of a month, the first, the same date a year later",
             "launch@2026-03-31T20:00:00 launch@2026-04-01T09:00:00 launch@2027-04-01T09:00:00",
             "DailyEngUserEvent, DaysSinceFirstUse=1, DaysSinceLastUse=1, MonthlyEngUserEvent | "
             "DailyEngUserEvent, DaysSinceFirstUse=366, DaysSinceLastUse=365, MonthlyEngUserEvent"},
            // Killed in the foreground, so that the start is a new launch despite the clock.
            {"the clock set back a day",
             "start@2026-03-07T09:30:00 kill | start@2026-03-06T09:30:00",
             "DailyEngUserEvent, DaysSinceFirstUse=-1, DaysSinceLastUse=-1"},
            // 08:00 and 10:00 in Tokyo are 23:00 and 01:00 in UTC, on two UTC dates.
            {"one day in Tokyo",
             "TZ=Asia/Tokyo launch@2026-03-07T08:00:00 launch@2026-03-07T10:00:00",
             "DaysSinceFirstUse=0, DaysSinceLastUse=0"},
            // Summer time begins at 02:00 on 8 March 2026: two calendar days in 47 hours.
            {"New York into summer time",
             "TZ=America/New_York launch@2026-03-07T12:00:00 launch@2026-03-09T12:00:00",
             "DailyEngUserEvent, DaysSinceFirstUse=2, DaysSinceLastUse=2"},
        },
        {"DailyEngUserEvent", "MonthlyEngUserEvent", "DaysSinceFirstUse", "DaysSinceLastUse"}, {},
        false, 1);
}

TEST(LifecycleMetrics, CrashesUpgradesAndTheApplicationIdentifier) {
    expectCases(
        {
            // The first upgrade finds no earlier upgrade date, so its launches count from the
            // next launch on; a later one counts itself. Any other version text is an upgrade.
            {"upgrades, the first after a crash",
             "launch@2026-03-07T09:00:00 start@2026-03-07T12:00:00 kill | "
             "app=Lab/1.1 launch@2026-03-08T09:00:00 launch@2026-03-10T09:00:00 | "
             "app=Lab/1.2 launch@2026-03-11T09:00:00 | "
             "app=Lab/1.0 launch@2026-03-12T09:00:00 launch@2026-03-24T09:00:00",
             "AppID=Lab (1.0) | AppID=Lab (1.0) | AppID=Lab (1.1), CrashEvent, UpgradeEvent | "
             "AppID=Lab (1.1), DaysSinceLastUpgrade=2, LaunchesSinceUpgrade=1 | "
             "AppID=Lab (1.2), LaunchesSinceUpgrade=1, UpgradeEvent | "
             "AppID=Lab (1.0), LaunchesSinceUpgrade=1, UpgradeEvent | "
             "AppID=Lab (1.0), DaysSinceLastUpgrade=12, LaunchesSinceUpgrade=2",
             "1.0/2026-03-12T09:00:00/2"},
            {"a name that holds a placeholder", "app=Save50%2now/3.1 launch@1000",
             "AppID=Save50%2now (3.1)", "3.1/-/-"},
            {"an empty name and version: no upgrade", "app=/ launch@1000 | launch@90000",
             "AppID= () | AppID= ()", "/-/-"},
        },
        {"AppID", "CrashEvent", "DaysSinceLastUpgrade", "LaunchesSinceUpgrade", "UpgradeEvent"},
        {"LastVersion", "UpgradeDate", "LaunchesAfterUpgrade"}, false);
}

// The notification handler: one however often and from however many threads it is asked for,
// one start per awake(), and no lifecycle without it. By the real clock.
TEST(LifecycleNotifications, OneHandlerDrivesStartAndStop) {
    expectCases(
        {
            {"collected thrice", "app collect collect collect awake", "1: InstallEvent", "1/0"},
            {"never collected", "app awake asleep awake", "0: ", "-/-"},
            {"awake twice", "app collect awake awake", "1: InstallEvent | CrashEvent", "2/0"},
            {"asleep, then awake", "app collect awake asleep awake", "1: InstallEvent", "1/1"},
            // A short pause, but no session has started: an install.
            {"asleep before awake", "app collect asleep awake", "1: InstallEvent", "1/0"},
            // Left unconnected, and a later call does not try again; no start of its own either.
            {"collected before the application object", "collect app collect awake", "1: ", "-/-"},
            // The handler belongs to a thread without an event loop, so its slots never run.
            {"the first call from two threads", "app race awake", "1: ", "-/-"},
        },
        {"CrashEvent", "InstallEvent"}, {"Launches", "SuccessfulClose"}, false, 0, true);
}
