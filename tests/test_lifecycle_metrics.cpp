// Launch metrics of the "Lifecycle" hit: install, engagement, day counts, crash, upgrades and
// the local hour and weekday. Each child makes the application object emit awake() / asleep()
// after collectLifecycleData(), with its wall clock frozen at local times (UTC unless a test
// sets another zone). A new child is a new run of the application.
#include "LifecycleLab.h"

#include <QFile>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// One launch in a child of its own, ended by asleep() ten minutes later.
collector::DecodedHit launchAt(LifecycleLab &lab, const QString &when) {
    const QString later = when.left(13) + ":59:59"; // the end of the same hour
    const ChildRun run = lab.run({"collect", "awake@" + when, "asleep@" + later});
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    EXPECT_EQ(launches.size(), 1u) << "launch at " << when.toStdString();
    return launches.empty() ? collector::DecodedHit() : launches.front();
}

// The single lifecycle hit of a run.
collector::DecodedHit onlyLaunch(const ChildRun &run) {
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    EXPECT_EQ(launches.size(), 1u);
    return launches.empty() ? collector::DecodedHit() : launches.front();
}

} // namespace

TEST(LifecycleMetrics, FirstLaunchHitHoldsExactlyTheNineInstallKeys) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"collect", "awake@2026-03-07 09:30:00"});
    const collector::DecodedHit hit = onlyLaunch(run);
    const std::vector<std::string> expected = {
        "a.AppID",       "a.DailyEngUserEvent", "a.DayOfWeek",
        "a.HourOfDay",   "a.InstallDate",       "a.InstallEvent",
        "a.LaunchEvent", "a.Launches",          "a.MonthlyEngUserEvent"};
    EXPECT_EQ(lifecycleKeys(hit), expected);
    EXPECT_EQ(ctx(hit, "a.InstallDate"), "3/7/2026");
    EXPECT_EQ(ctx(hit, "a.InstallEvent"), "InstallEvent");
    EXPECT_EQ(ctx(hit, "a.DailyEngUserEvent"), "DailyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.MonthlyEngUserEvent"), "MonthlyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.LaunchEvent"), "LaunchEvent");
    EXPECT_EQ(ctx(hit, "a.Launches"), "1");
    EXPECT_EQ(ctx(hit, "a.AppID"), "Lab (1.0)");
    EXPECT_EQ(ctx(hit, "a.HourOfDay"), "9");
    EXPECT_EQ(ctx(hit, "a.DayOfWeek"), "6");
}

TEST(LifecycleMetrics, LaunchHitIsInternalLifecycleActionOfTheApplicationPage) {
    LifecycleLab lab;
    const collector::DecodedHit hit = onlyLaunch(lab.run({"collect", "awake@2026-03-07 09:30:00"}));
    EXPECT_EQ(hit.var("pe"), std::optional<std::string>("lnk_o"));
    EXPECT_EQ(hit.var("pev2"), std::optional<std::string>("KEOINTERNAL:Lifecycle"));
    EXPECT_EQ(hit.var("pageName"), std::optional<std::string>("Lab/1.0"));
    EXPECT_EQ(ctx(hit, "a.internal"), "Lifecycle");
}

TEST(LifecycleMetrics, FirstLaunchStoresInstallAndLastUseDates) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"collect", "awake@2026-03-07 09:30:00"});
    const QVariantMap prefs = run.after("awake@2026-03-07 09:30:00");
    EXPECT_EQ(pref(prefs, "InstallDate"), "2026-03-07T09:30:00");
    EXPECT_EQ(pref(prefs, "LastUsedDate"), "2026-03-07T09:30:00");
    EXPECT_EQ(pref(prefs, "Launches"), "1");
    EXPECT_EQ(pref(prefs, "UpgradeDate"), "-");
}

TEST(LifecycleMetrics, HourAndWeekdayAreLocalWithoutLeadingZero) {
    LifecycleLab lab;
    const collector::DecodedHit hit = onlyLaunch(lab.run({"collect", "awake@2026-03-08 00:10:00"}));
    EXPECT_EQ(ctx(hit, "a.HourOfDay"), "0");
    EXPECT_EQ(ctx(hit, "a.DayOfWeek"), "7"); // a Sunday
}

TEST(LifecycleMetrics, DatesFollowTheDeviceTimeZone) {
    LifecycleLab lab;
    // 2026-03-07 23:30:00 UTC is Sunday 08:30 in Tokyo.
    const ChildRun run = lab.run({"collect", "awake@1772926200"}, "Asia/Tokyo");
    const collector::DecodedHit hit = onlyLaunch(run);
    EXPECT_EQ(ctx(hit, "a.InstallDate"), "3/8/2026");
    EXPECT_EQ(ctx(hit, "a.HourOfDay"), "8");
    EXPECT_EQ(ctx(hit, "a.DayOfWeek"), "7");
    EXPECT_EQ(pref(run.after("awake@1772926200"), "InstallDate"), "2026-03-08T08:30:00");
}

TEST(LifecycleMetrics, SecondLaunchSameDayIsNotEngaged) {
    LifecycleLab lab;
    launchAt(lab, "2026-03-07 09:30:00");
    const collector::DecodedHit hit = launchAt(lab, "2026-03-07 18:00:00");
    EXPECT_EQ(ctx(hit, "a.DailyEngUserEvent"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.MonthlyEngUserEvent"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.DaysSinceLastUse"), "0");
    EXPECT_EQ(ctx(hit, "a.DaysSinceFirstUse"), "0");
    EXPECT_EQ(ctx(hit, "a.Launches"), "2");
    EXPECT_EQ(ctx(hit, "a.InstallEvent"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.InstallDate"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.CrashEvent"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.PrevSessionLength"), "1799"); // 09:30:00 to 09:59:59
}

TEST(LifecycleMetrics, LaunchAfterMidnightCountsOneDayThoughMinutesApart) {
    LifecycleLab lab("1.0", "\"lifecycleTimeout\": 30");
    const ChildRun run = lab.run({"collect", "awake@2026-03-07 23:59:00",
                                  "asleep@2026-03-07 23:59:10", "awake@2026-03-08 00:01:00"});
    ASSERT_EQ(run.exitCode, 0) << run.output.toStdString();
    const std::vector<collector::DecodedHit> launches = run.lifecycleHits();
    ASSERT_EQ(launches.size(), 2u);
    EXPECT_EQ(ctx(launches[1], "a.DaysSinceLastUse"), "1");
    EXPECT_EQ(ctx(launches[1], "a.DailyEngUserEvent"), "DailyEngUserEvent");
    EXPECT_EQ(ctx(launches[1], "a.MonthlyEngUserEvent"), kAbsent);
}

TEST(LifecycleMetrics, FirstOfMonthAfterLastDayIsDailyAndMonthlyEngaged) {
    LifecycleLab lab;
    launchAt(lab, "2026-03-31 20:00:00");
    const collector::DecodedHit hit = launchAt(lab, "2026-04-01 09:00:00");
    EXPECT_EQ(ctx(hit, "a.DailyEngUserEvent"), "DailyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.MonthlyEngUserEvent"), "MonthlyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.DaysSinceLastUse"), "1");
}

TEST(LifecycleMetrics, SameDateOneYearLaterIsEngaged) {
    LifecycleLab lab;
    launchAt(lab, "2026-03-07 09:30:00");
    const collector::DecodedHit hit = launchAt(lab, "2027-03-07 09:30:00");
    EXPECT_EQ(ctx(hit, "a.DailyEngUserEvent"), "DailyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.MonthlyEngUserEvent"), "MonthlyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.DaysSinceLastUse"), "365");
    EXPECT_EQ(ctx(hit, "a.DaysSinceFirstUse"), "365");
}

TEST(LifecycleMetrics, DaysSinceFirstUseCountsFromInstallAcrossLaunches) {
    LifecycleLab lab;
    launchAt(lab, "2026-03-07 09:30:00");
    launchAt(lab, "2026-03-10 09:30:00");
    const collector::DecodedHit hit = launchAt(lab, "2026-03-12 09:30:00");
    EXPECT_EQ(ctx(hit, "a.DaysSinceFirstUse"), "5");
    EXPECT_EQ(ctx(hit, "a.DaysSinceLastUse"), "2");
    EXPECT_EQ(ctx(hit, "a.Launches"), "3");
}

TEST(LifecycleMetrics, ClockBackADayGivesNegativeDaysAndIsEngaged) {
    LifecycleLab lab;
    // Killed in the foreground, so the next start is a new launch despite the clock.
    const ChildRun first = lab.run({"collect", "awake@2026-03-07 09:30:00", "kill"});
    ASSERT_TRUE(first.killed) << first.output.toStdString();
    const collector::DecodedHit hit = onlyLaunch(lab.run({"collect", "awake@2026-03-06 09:30:00"}));
    EXPECT_EQ(ctx(hit, "a.DaysSinceLastUse"), "-1");
    EXPECT_EQ(ctx(hit, "a.DaysSinceFirstUse"), "-1");
    EXPECT_EQ(ctx(hit, "a.DailyEngUserEvent"), "DailyEngUserEvent");
    EXPECT_EQ(ctx(hit, "a.MonthlyEngUserEvent"), kAbsent);
}

TEST(LifecycleMetrics, KillInForegroundIsReportedAsCrashByTheNextProcess) {
    LifecycleLab lab;
    const ChildRun first =
        lab.run({"collect", "awake@2026-03-07 09:30:00", "asleep@2026-03-07 09:40:00",
                 "awake@2026-03-07 10:00:00", "kill@2026-03-07 10:05:00"});
    ASSERT_TRUE(first.killed) << first.output.toStdString();
    EXPECT_EQ(pref(first.after("kill@2026-03-07 10:05:00"), "SuccessfulClose"), "0");
    ASSERT_EQ(first.lifecycleHits().size(), 2u);
    EXPECT_EQ(ctx(first.lifecycleHits()[1], "a.PrevSessionLength"), "600");

    const ChildRun second = lab.run({"collect", "awake@2026-03-07 11:00:00"});
    const collector::DecodedHit hit = onlyLaunch(second);
    EXPECT_EQ(ctx(hit, "a.CrashEvent"), "CrashEvent");
    EXPECT_EQ(ctx(hit, "a.PrevSessionLength"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.Launches"), "3");
}

TEST(LifecycleMetrics, ResumeChangesNeitherLaunchesNorLastUsedDate) {
    LifecycleLab lab;
    const ChildRun run = lab.run({"collect", "awake@2026-03-07 09:30:00",
                                  "asleep@2026-03-07 09:31:00", "awake@2026-03-07 09:33:00"});
    ASSERT_EQ(run.exitCode, 0) << run.output.toStdString();
    EXPECT_EQ(run.lifecycleHits().size(), 1u);
    const QVariantMap prefs = run.after("awake@2026-03-07 09:33:00");
    EXPECT_EQ(pref(prefs, "Launches"), "1");
    EXPECT_EQ(pref(prefs, "LastUsedDate"), "2026-03-07T09:30:00");
}

TEST(LifecycleMetrics, CrashAndUpgradeReportedInOneLaunch) {
    LifecycleLab lab("1.0");
    const ChildRun first = lab.run({"collect", "awake@2026-03-07 09:30:00", "kill"});
    ASSERT_TRUE(first.killed) << first.output.toStdString();
    lab.setVersion("1.1");
    const ChildRun second = lab.run({"collect", "awake@2026-03-08 09:30:00"});
    const collector::DecodedHit hit = onlyLaunch(second);
    EXPECT_EQ(ctx(hit, "a.CrashEvent"), "CrashEvent");
    EXPECT_EQ(ctx(hit, "a.UpgradeEvent"), "UpgradeEvent");
    EXPECT_EQ(ctx(hit, "a.LaunchesSinceUpgrade"), kAbsent);
    EXPECT_EQ(ctx(hit, "a.AppID"), "Lab (1.1)");
    const QVariantMap prefs = second.after("awake@2026-03-08 09:30:00");
    EXPECT_EQ(pref(prefs, "LastVersion"), "1.1");
    EXPECT_EQ(pref(prefs, "UpgradeDate"), "2026-03-08T09:30:00");
    EXPECT_EQ(pref(prefs, "LaunchesAfterUpgrade"), "0");
}

TEST(LifecycleMetrics, UpgradesCountLaunchesFromTheFirstUpgradeOn) {
    LifecycleLab lab("1.0");
    const collector::DecodedHit install = launchAt(lab, "2026-03-07 09:00:00");
    EXPECT_EQ(ctx(install, "a.UpgradeEvent"), kAbsent);
    EXPECT_EQ(ctx(install, "a.LaunchesSinceUpgrade"), kAbsent);

    const collector::DecodedHit sameVersion = launchAt(lab, "2026-03-07 12:00:00");
    EXPECT_EQ(ctx(sameVersion, "a.DaysSinceLastUpgrade"), kAbsent);
    EXPECT_EQ(ctx(sameVersion, "a.LaunchesSinceUpgrade"), kAbsent);

    lab.setVersion("1.1");
    const collector::DecodedHit first = launchAt(lab, "2026-03-08 09:00:00");
    EXPECT_EQ(ctx(first, "a.UpgradeEvent"), "UpgradeEvent");
    EXPECT_EQ(ctx(first, "a.LaunchesSinceUpgrade"), kAbsent);
    EXPECT_EQ(ctx(first, "a.DaysSinceLastUpgrade"), kAbsent);

    const collector::DecodedHit afterFirst = launchAt(lab, "2026-03-10 09:00:00");
    EXPECT_EQ(ctx(afterFirst, "a.UpgradeEvent"), kAbsent);
    EXPECT_EQ(ctx(afterFirst, "a.LaunchesSinceUpgrade"), "1");
    EXPECT_EQ(ctx(afterFirst, "a.DaysSinceLastUpgrade"), "2");

    lab.setVersion("1.2");
    const collector::DecodedHit second = launchAt(lab, "2026-03-11 09:00:00");
    EXPECT_EQ(ctx(second, "a.UpgradeEvent"), "UpgradeEvent");
    EXPECT_EQ(ctx(second, "a.LaunchesSinceUpgrade"), "1");
    EXPECT_EQ(ctx(second, "a.DaysSinceLastUpgrade"), kAbsent);

    // Any change of the version text counts, a lower one too.
    lab.setVersion("1.0");
    const collector::DecodedHit third = launchAt(lab, "2026-03-12 09:00:00");
    EXPECT_EQ(ctx(third, "a.UpgradeEvent"), "UpgradeEvent");
    EXPECT_EQ(ctx(third, "a.LaunchesSinceUpgrade"), "1");

    const collector::DecodedHit afterThird = launchAt(lab, "2026-03-15 09:00:00");
    EXPECT_EQ(ctx(afterThird, "a.LaunchesSinceUpgrade"), "2");
    EXPECT_EQ(ctx(afterThird, "a.DaysSinceLastUpgrade"), "3");
    EXPECT_EQ(pref(lab.prefs(), "LaunchesAfterUpgrade"), "2");
}

TEST(LifecycleMetrics, AppIdTakesNameAsItStands) {
    LifecycleLab lab;
    lab.dir().writeDescriptor("Save 50%2 now", "3.1");
    const collector::DecodedHit hit = onlyLaunch(lab.run({"collect", "awake@2026-03-07 09:30:00"}));
    EXPECT_EQ(ctx(hit, "a.AppID"), "Save 50%2 now (3.1)");
}

TEST(LifecycleMetrics, MissingDescriptorGivesBlankAppIdAndNoUpgrade) {
    LifecycleLab lab;
    ASSERT_TRUE(QFile::remove(lab.dir().file("app/native/bar-descriptor.xml")));
    const collector::DecodedHit first = launchAt(lab, "2026-03-07 09:30:00");
    EXPECT_EQ(ctx(first, "a.AppID"), " ()");
    const collector::DecodedHit second = launchAt(lab, "2026-03-08 09:30:00");
    EXPECT_EQ(ctx(second, "a.UpgradeEvent"), kAbsent);
    EXPECT_EQ(pref(lab.prefs(), "LastVersion"), "");
}
