#include "KEOLifecycle.h"

#include "KEOAnalytics.h"
#include "KEOAnalyticsWorker.h"
#include "KEOLifecycleRegistry.h"
#include "KEOMobileConfig.h"
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"

#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <climits>
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

static void _addNonInstallData(QHash<QString, QString> *data, QDateTime date, bool crashed) {
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

    if (!prefs->getBool(DEFAULTS_KEY_SUCCESSFULCLOSE) || crashed) {
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

static void _resetLifecycleFlags(QString appVersion, long now) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    if (prefs->getLong(DEFAULTS_KEY_STARTTIME) == 0)
        prefs->putLong(DEFAULTS_KEY_STARTTIME, now);
    prefs->putString(DEFAULTS_KEY_LASTVERSION, appVersion);
    prefs->putBool(DEFAULTS_KEY_SUCCESSFULCLOSE, false);
    // Kept in the file as 0, not removed.
    prefs->putLong(DEFAULTS_KEY_PAUSETIME, 0);
}

// ---------------------------------------------------------------------------------------
// Several processes of one application. The application is in front while any of its processes
// is; only the first of them to come to the front may launch, and a process that died in front
// is a crash for the next launch to report. A launch changes its keys before its hit is stored:
// the registry's journal keeps their former values and a mark that the hit commits with it, so
// that the launch of a process killed before that commit is taken back whole, and the rest of a
// stored one is finished, however soon after the commit the kill came.

// The keys that a launch changes before its hit is stored.
static const QStringList LAUNCH_KEYS = {
    DEFAULTS_KEY_INSTALLDATE, DEFAULTS_KEY_LASTUSEDDATE,         DEFAULTS_KEY_LAUNCHES,
    DEFAULTS_KEY_UPGRADEDATE, DEFAULTS_KEY_LAUNCHESAFTERUPGRADE, DEFAULTS_KEY_PAUSETIME,
    DEFAULTS_KEY_STARTTIME};

static QByteArray _launchRecord(const QString &appVersion, long now, const QJsonObject &before,
                                int mark) {
    QJsonObject record;
    record["slot"] = KEOLifecycleRegistry::ownSlot();
    record["mark"] = mark;
    record["version"] = appVersion;
    record["now"] = static_cast<double>(now);
    record["before"] = before;
    return QJsonDocument(record).toJson(QJsonDocument::Compact);
}

// Ends the launch that a process which is no longer alive left half done; under a Hold.
static void _settleDeadLaunch() {
    const char state = KEOLifecycleRegistry::launchState();
    if (state == KEOLifecycleRegistry::NO_LAUNCH)
        return;
    const QJsonObject record = QJsonDocument::fromJson(KEOLifecycleRegistry::journal()).object();
    const int slot = record.value("slot").toInt(-1);
    if (slot >= 0 && KEOLifecycleRegistry::alive(slot))
        return; // its launch is still under way
    if (slot < 0 || !record.value("before").isObject()) {
        // Not a record that this library wrote: nothing in it to take back or finish.
        KEOLifecycleRegistry::setLaunchState(KEOLifecycleRegistry::NO_LAUNCH);
        return;
    }
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    // A launch killed between storing its hit and saying so is told by the mark its hit
    // committed.
    const int mark = record.value("mark").toInt();
    const bool stored = state == KEOLifecycleRegistry::LAUNCH_STORED ||
                        (mark != 0 && KEOAnalyticsWorker::sharedInstance()->lastMark() == mark);
    if (stored) {
        _resetLifecycleFlags(record.value("version").toString(),
                             static_cast<long>(record.value("now").toDouble()));
    } else {
        const QJsonObject before = record.value("before").toObject();
        for (const QString &key : LAUNCH_KEYS) {
            if (before.value(key).isString())
                prefs->putString(key, before.value(key).toString());
            else if (prefs->contains(key))
                prefs->remove(key);
        }
    }
    // The crashes that the launch reported are done with; those of a launch taken back wait for
    // the next one.
    for (int crashed : KEOLifecycleRegistry::others().reporting)
        KEOLifecycleRegistry::mark(crashed, stored ? KEOLifecycleRegistry::AWAY
                                                   : KEOLifecycleRegistry::IN_FRONT);
    KEOLifecycleRegistry::setLaunchState(KEOLifecycleRegistry::NO_LAUNCH);
}

// Decides, under one Hold, whether this return to the front is a launch; if so fills data with
// its metrics and journals it (journaled: its journal's mark in the registry, 0 for none). A
// resume or a join changes what it must and returns false.
static bool _beginStart(QHash<QString, QString> *data, int *journaled, const QDateTime &date,
                        const QString &appVersion, const QString &appName) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    KEOSharedPreferences::Hold hold;
    const int own = KEOLifecycleRegistry::ownSlot();
    KEOLifecycleRegistry::Others others;
    if (own >= 0) {
        _settleDeadLaunch();
        others = KEOLifecycleRegistry::others();
        // The application is in use already: this process joins its session, which from now on
        // is shared, so a resumed process in it that dies is a crash too.
        if (others.inFront > 0) {
            KEOLifecycleRegistry::mark(own, KEOLifecycleRegistry::IN_FRONT);
            for (int resumed : others.resumed)
                KEOLifecycleRegistry::mark(resumed, KEOLifecycleRegistry::IN_FRONT);
            return false;
        }
    }

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
            // Kept on purpose: a process alone in a resumed session that dies there is no crash,
            // as "SuccessfulClose" stays true through a resume.
            if (own >= 0)
                KEOLifecycleRegistry::mark(own, KEOLifecycleRegistry::RESUMED);
            return false;
        }
    }

    if (own >= 0) {
        KEOLifecycleRegistry::mark(own, KEOLifecycleRegistry::IN_FRONT);
        QJsonObject before;
        for (const QString &key : LAUNCH_KEYS)
            if (prefs->contains(key))
                before[key] = prefs->getString(key);
        // Any number but 0, and another than the last launch's.
        *journaled = static_cast<int>(QRandomGenerator::system()->bounded(1, INT_MAX));
        KEOLifecycleRegistry::setJournal(
            _launchRecord(appVersion, KEOStatic::timeSince1970(), before, *journaled));
        KEOLifecycleRegistry::setLaunchState(KEOLifecycleRegistry::LAUNCH_PENDING);
        for (int crashed : others.crashed)
            KEOLifecycleRegistry::mark(crashed, KEOLifecycleRegistry::REPORTING);
    }

    // The order below is binding: a crash found by _addNonInstallData removes the session
    // times, which silences _addSessionLengthData; that reads the old times before
    // _resetLifecycleFlags overwrites them; and the flags change only after the hit is
    // stored, so a kill before it leaves them as they were.
    if (!prefs->getDateTime(DEFAULTS_KEY_INSTALLDATE).isValid()) {
        _addInstallData(data, date);
    } else {
        _addNonInstallData(data, date, !others.crashed.isEmpty());
        _addUpgradeData(data, date, appVersion);
    }
    _addLifecycleGenericData(data, date, appName);
    _addSessionLengthData(data);
    return true;
}

// The launch's hit is stored: its flags are reset and the crashes it reported are done with.
static void _endLaunch(const QString &appVersion, bool journaled) {
    KEOSharedPreferences::Hold hold;
    _resetLifecycleFlags(appVersion, KEOStatic::timeSince1970());
    if (!journaled)
        return;
    for (int crashed : KEOLifecycleRegistry::others().reporting)
        KEOLifecycleRegistry::mark(crashed, KEOLifecycleRegistry::AWAY);
    KEOLifecycleRegistry::setLaunchState(KEOLifecycleRegistry::NO_LAUNCH);
}

void KEOLifecycle::start() {
    (void)DATA_ENGAGEDMONTH;
    (void)DATA_ENGAGEDUPGRADE;
    (void)NUMBER_OF_SECONDS_IN_DAY;
    // A new launch takes one instant for every metric of it.
    const QDateTime date = QDateTime::currentDateTime();
    const QString appVersion = KEOStatic::getApplicationVersion();
    // Kept on purpose: "Name (version)", where the identifier is "Name/version".
    // Two-argument arg(): a name that holds "%2" is not expanded a second time.
    const QString appName = QString("%1 (%2)").arg(KEOStatic::getApplicationName(), appVersion);
    QHash<QString, QString> contextData;
    int journaled = 0; // the launch's mark when it is journaled
    if (!_beginStart(&contextData, &journaled, date, appVersion, appName))
        return;
    // Stored outside the Hold: storing takes the hit table's own locks. The hit commits the
    // journal's mark with it, so that a kill from then on finishes this launch.
    KEOAnalyticsWorker::markNextInsert(journaled);
    KEOAnalytics::trackInternal("Lifecycle", contextData, QHash<QString, QString>());
    KEOAnalyticsWorker::markNextInsert(0); // a hit that was never stored leaves no mark pending
    // The state is this process's alone while its launch is in progress.
    if (journaled)
        KEOLifecycleRegistry::setLaunchState(KEOLifecycleRegistry::LAUNCH_STORED);
    _endLaunch(appVersion, journaled != 0);
}

void KEOLifecycle::stop() {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    KEOSharedPreferences::Hold hold;
    const int own = KEOLifecycleRegistry::ownSlot();
    if (own >= 0) {
        _settleDeadLaunch();
        KEOLifecycleRegistry::mark(own, KEOLifecycleRegistry::AWAY);
        // Another process keeps the application in front: no pause begins.
        if (KEOLifecycleRegistry::others().inFront > 0)
            return;
    }
    prefs->putBool(DEFAULTS_KEY_SUCCESSFULCLOSE, true);
    prefs->putLong(DEFAULTS_KEY_PAUSETIME, KEOStatic::timeSince1970());
}
