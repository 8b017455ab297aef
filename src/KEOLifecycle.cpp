#include "KEOLifecycle.h"

#include "KEOAnalytics.h"
#include "KEOMobileConfig.h"
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"

#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QString>

#include <cstdint>

// Preference keys: the whole state that links one run of the application to the next.
static const QString DEFAULTS_KEY_INSTALLDATE = "InstallDate";
static const QString DEFAULTS_KEY_LASTUSEDDATE = "LastUsedDate";
static const QString DEFAULTS_KEY_LAUNCHES = "Launches";
static const QString DEFAULTS_KEY_UPGRADEDATE = "UpgradeDate";
static const QString DEFAULTS_KEY_LAUNCHESAFTERUPGRADE = "LaunchesAfterUpgrade";
static const QString DEFAULTS_KEY_LASTVERSION = "LastVersion";
static const QString DEFAULTS_KEY_SUCCESSFULCLOSE = "SuccessfulClose";
static const QString DEFAULTS_KEY_PAUSETIME = "PauseTime";
static const QString DEFAULTS_KEY_STARTTIME = "StartTime";

// Context data keys of the lifecycle hit.
static const QString EVENT_INSTALL = "a.InstallEvent";
static const QString EVENT_UPGRADE = "a.UpgradeEvent";
static const QString EVENT_DAILYENGAGED = "a.DailyEngUserEvent";
static const QString EVENT_MONTHLYENGAGED = "a.MonthlyEngUserEvent";
static const QString EVENT_LAUNCH = "a.LaunchEvent";
static const QString EVENT_CRASH = "a.CrashEvent";
static const QString DATA_INSTALLDATE = "a.InstallDate";
static const QString DATA_APPID = "a.AppID";
static const QString DATA_LAUNCHES = "a.Launches";
static const QString DATA_DAYSFIRSTLAUNCH = "a.DaysSinceFirstUse";
static const QString DATA_DAYSLASTLAUNCH = "a.DaysSinceLastUse";
static const QString DATA_HOUROFDAY = "a.HourOfDay";
static const QString DATA_DAYOFWEEK = "a.DayOfWeek";
static const QString DATA_DAYSUPGRADE = "a.DaysSinceLastUpgrade";
static const QString DATA_LAUNCHESUPGRADE = "a.LaunchesSinceUpgrade";
static const QString DATA_PREVSESSIONLENGTH = "a.PrevSessionLength";
// Kept on purpose: reserved names that no hit carries.
static const QString DATA_ENGAGEDMONTH = "a.EngDaysMonth";
static const QString DATA_ENGAGEDUPGRADE = "a.EngDaysSinceUpgrade";

// Kept on purpose: unused; day counts are calendar differences, never seconds.
static const unsigned int NUMBER_OF_SECONDS_IN_DAY = 86400;

// The configured timeout as the signed 32-bit count it is on the target: a timeout of 2^31 s
// or more turns negative, so that no pause resumes a session.
static long sessionTimeoutSeconds() {
    return static_cast<int32_t>(KEOMobileConfig::sharedInstance()->getLifecycleTimeout());
}

// ---------------------------------------------------------------------------------------
// Launch metrics

static void _addInstallData(QHash<QString, QString> *data, QDateTime date) {
    data->insert(DATA_INSTALLDATE, date.toString("M/d/yyyy"));
    data->insert(EVENT_INSTALL, "InstallEvent");
    // A first launch is always engaged for its day and month; it cannot follow a crash.
    data->insert(EVENT_DAILYENGAGED, "DailyEngUserEvent");
    data->insert(EVENT_MONTHLYENGAGED, "MonthlyEngUserEvent");
    KEOSharedPreferences::sharedInstance()->putDateTime(DEFAULTS_KEY_INSTALLDATE, date);
}

static void _addNonInstallData(QHash<QString, QString> *data, QDateTime date) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    const QDateTime dateLastUsed = prefs->getDateTime(DEFAULTS_KEY_LASTUSEDDATE);
    const QDateTime dateInstalled = prefs->getDateTime(DEFAULTS_KEY_INSTALLDATE);

    // Engagement compares calendar texts against the last new launch: any difference counts,
    // a date in the past of the stored one included.
    const QString lastUsedDateDaily = dateLastUsed.toLocalTime().toString("yyyy/M/d");
    const QString currentDateDaily = date.toString("yyyy/M/d");
    if (lastUsedDateDaily.compare(currentDateDaily) != 0)
        data->insert(EVENT_DAILYENGAGED, "DailyEngUserEvent");
    const QString lastUsedDateMonthly = dateLastUsed.toLocalTime().toString("yyyy/M");
    const QString currentDateMonthly = date.toString("yyyy/M");
    if (lastUsedDateMonthly.compare(currentDateMonthly) != 0)
        data->insert(EVENT_MONTHLYENGAGED, "MonthlyEngUserEvent");

    data->insert(DATA_DAYSFIRSTLAUNCH,
                 QString::number(dateInstalled.toLocalTime().daysTo(date), 10));
    data->insert(DATA_DAYSLASTLAUNCH, QString::number(dateLastUsed.toLocalTime().daysTo(date), 10));

    if (!prefs->getBool(DEFAULTS_KEY_SUCCESSFULCLOSE)) {
        // The previous run ended without stop. Its session has no known end, so dropping
        // both times silences the session length and gives the new session a fresh start.
        data->insert(EVENT_CRASH, "CrashEvent");
        prefs->remove(DEFAULTS_KEY_PAUSETIME);
        prefs->remove(DEFAULTS_KEY_STARTTIME);
    }
}

static void _addUpgradeData(QHash<QString, QString> *data, QDateTime date, QString appVersion) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    // Read before this launch may store a new one: the first upgrade of an installation
    // therefore reports no launches since upgrade, and every later one reports 1.
    const QDateTime upgradeDate = prefs->getDateTime(DEFAULTS_KEY_UPGRADEDATE);
    const QString lastVersion = prefs->getString(DEFAULTS_KEY_LASTVERSION);

    // Any change of the text is an upgrade, a lower version included.
    if (lastVersion.compare(appVersion) != 0) {
        data->insert(EVENT_UPGRADE, "UpgradeEvent");
        prefs->putDateTime(DEFAULTS_KEY_UPGRADEDATE, date);
        prefs->putLong(DEFAULTS_KEY_LAUNCHESAFTERUPGRADE, 0);
    } else if (upgradeDate.isValid()) {
        data->insert(DATA_DAYSUPGRADE, QString::number(upgradeDate.daysTo(date), 10));
    }

    if (upgradeDate.isValid()) {
        // Counted on the file as the other processes sharing it left it: no launch is lost.
        KEOSharedPreferences::Hold hold;
        const long launchesAfterUpgradeCount =
            prefs->getLong(DEFAULTS_KEY_LAUNCHESAFTERUPGRADE) + 1;
        data->insert(DATA_LAUNCHESUPGRADE, QString::number(launchesAfterUpgradeCount, 10));
        prefs->putLong(DEFAULTS_KEY_LAUNCHESAFTERUPGRADE, launchesAfterUpgradeCount);
    }
}

static void _addLifecycleGenericData(QHash<QString, QString> *data, QDateTime date,
                                     QString appName) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    // Counted on the file as the other processes sharing it left it: no launch is lost.
    KEOSharedPreferences::Hold hold;
    const long launches = prefs->getLong(DEFAULTS_KEY_LAUNCHES) + 1;
    data->insert(EVENT_LAUNCH, "LaunchEvent");
    data->insert(DATA_LAUNCHES, QString::number(launches, 10));
    data->insert(DATA_APPID, appName);
    data->insert(DATA_HOUROFDAY, date.toString("h"));
    // Monday is 1, Sunday 7.
    data->insert(DATA_DAYOFWEEK, QString::number(date.date().dayOfWeek(), 10));
    prefs->putLong(DEFAULTS_KEY_LAUNCHES, launches);
    prefs->putDateTime(DEFAULTS_KEY_LASTUSEDDATE, date);
}

// ---------------------------------------------------------------------------------------
// Sessions

static void _addSessionLengthData(QHash<QString, QString> *data) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    const long sessionTimeout = sessionTimeoutSeconds();
    const long lastPause = prefs->getLong(DEFAULTS_KEY_PAUSETIME);
    // Kept on purpose: the sign test, where start asks only for non-zero.
    if (!(lastPause > 0))
        return;
    // Strictly longer than the timeout: a pause of exactly the timeout is a new launch in
    // start, yet reports no length here and keeps the old start.
    const long timeSincePause = KEOStatic::timeSince1970() - lastPause;
    if (!(timeSincePause > sessionTimeout))
        return;
    const long sessionStart = prefs->getLong(DEFAULTS_KEY_STARTTIME);
    const long sessionTime = lastPause - sessionStart;
    data->insert(DATA_PREVSESSIONLENGTH, QString::number(sessionTime, 10));
    prefs->remove(DEFAULTS_KEY_STARTTIME);
}

static void _resetLifecycleFlags(QString appVersion) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    if (prefs->getLong(DEFAULTS_KEY_STARTTIME) == 0)
        prefs->putLong(DEFAULTS_KEY_STARTTIME, KEOStatic::timeSince1970());
    prefs->putString(DEFAULTS_KEY_LASTVERSION, appVersion);
    prefs->putBool(DEFAULTS_KEY_SUCCESSFULCLOSE, false);
    // Kept in the file as 0, not removed.
    prefs->putLong(DEFAULTS_KEY_PAUSETIME, 0);
}

void KEOLifecycle::start() {
    (void)DATA_ENGAGEDMONTH;
    (void)DATA_ENGAGEDUPGRADE;
    (void)NUMBER_OF_SECONDS_IN_DAY;
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    const long lastPause = prefs->getLong(DEFAULTS_KEY_PAUSETIME);
    const long sessionTimeout = sessionTimeoutSeconds();

    if (lastPause != 0) {
        const long pauseTime = KEOStatic::timeSince1970() - lastPause;
        const long startTime = prefs->getLong(DEFAULTS_KEY_STARTTIME);
        // A resume: the session goes on and its start moves forward by the pause, so that
        // the session never counts paused time. A clock set back gives a negative pause,
        // which resumes too.
        if (pauseTime < sessionTimeout && startTime != 0) {
            prefs->putLong(DEFAULTS_KEY_STARTTIME, startTime + pauseTime);
            return;
        }
    }

    // A new launch. One instant serves every metric of it.
    const QDateTime date = QDateTime::currentDateTime();
    const QString appVersion = KEOStatic::getApplicationVersion();
    // Kept on purpose: "Name (version)", where the identifier is "Name/version".
    // Two-argument arg(): a name that holds "%2" is not expanded a second time.
    const QString appName = QString("%1 (%2)").arg(KEOStatic::getApplicationName(), appVersion);
    QHash<QString, QString> contextData;

    // The order below is binding: a crash found by _addNonInstallData removes the session
    // times, which silences _addSessionLengthData; that reads the old times before
    // _resetLifecycleFlags overwrites them; and the flags change only after the hit is
    // stored, so a kill before it leaves them as they were.
    if (!prefs->getDateTime(DEFAULTS_KEY_INSTALLDATE).isValid()) {
        _addInstallData(&contextData, date);
    } else {
        _addNonInstallData(&contextData, date);
        _addUpgradeData(&contextData, date, appVersion);
    }
    _addLifecycleGenericData(&contextData, date, appName);
    _addSessionLengthData(&contextData);
    KEOAnalytics::trackInternal("Lifecycle", contextData, QHash<QString, QString>());
    _resetLifecycleFlags(appVersion);
}

void KEOLifecycle::stop() {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    prefs->putBool(DEFAULTS_KEY_SUCCESSFULCLOSE, true);
    prefs->putLong(DEFAULTS_KEY_PAUSETIME, KEOStatic::timeSince1970());
}
