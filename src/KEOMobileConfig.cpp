#include "KEOMobileConfig.h"

#include "KEOSharedPreferences.h"
#include "KEOStatic.h"

#include <bb/data/JsonDataAccess>

#include <QMap>
#include <QVariant>

static const QString KEOJsonConfigVersionKey = "version";
static const QString KEOJsonConfigAnalyticsKey = "analytics";
static const QString KEOJsonConfigReportSuitesKey = "rsids";
static const QString KEOJsonConfigServerKey = "server";
static const QString KEOJsonConfigCharSetKey = "charset";
static const QString KEOJsonConfigSSLKey = "ssl";
static const QString KEOJsonConfigOfflineTrackingKey = "offlineEnabled";
static const QString KEOJsonConfigLifecycleTimeoutKey = "lifecycleTimeout";
static const QString KEOJsonConfigBatchLimitKey = "batchLimit";
static const QString KEOJsonConfigPrivacyDefaultKey = "privacyDefault";
static const QString KEOJsonConfigPointsOfInterestKey = "poi";
// Sections of services this library does not talk to; present so that such files read.
static const QString KEOJsonConfigTargetKey = "target";
static const QString KEOJsonConfigTargetTimeoutKey = "timeout";
static const QString KEOJsonConfigAudienceManagerKey = "audienceManager";
static const QString KEOJsonConfigAudienceManagerServerKey = "server";

static const QString KEOConfigPrivacyOptedIn = "optedin";
static const QString KEOConfigPrivacyOptedOut = "optedout";
static const QString KEOConfigPrivacyUnknown = "optunknown";

static const QString PREFKEY_USERIDENTIFIER = "MCCVID";
static const QString PREFKEY_PRIVACYSTATUS = "PrivacyStatus";
static const QString CONFIG_FILE_NAME = "app/native/KEOMobileConfig.json";

static const QString DEFAULT_VERSION = "1.0";
static const unsigned int DEFAULT_LIFECYCLETIMEOUT = 300;
static const unsigned int DEFAULT_BATCHLIMIT = 50;
static const int DEFAULT_PRIVACYSTATUS = 1;
static const bool DEFAULT_DEBUG_LOGGING = false;
// Kept on purpose: never applied; a missing charset stays empty, stored hits uncapped.
static const QString DEFAULT_CHARSET = "UTF-8";
static const unsigned int DEFAULT_CACHELIMIT = 1000;
static const unsigned int LOCATION_DEFAULT_TIMEOUT = 2;

static const QString DEVICE_NAME_KEY = "a.DeviceName";
static const QString CARRIER_NAME_KEY = "a.CarrierName";
static const QString OS_VERSION_KEY = "a.OSVersion";
static const QString RESOLUTION_KEY = "a.Resolution";
static const QString WINDOW_RESOLUTION_KEY = "a.WindowResolution";

pthread_mutex_t _userIdentifier_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace {
// Atomic so that a thread that sees the pointer also sees the constructed object.
std::atomic<KEOMobileConfig *> _sharedInstance{nullptr};
pthread_mutex_t _instanceMutex = PTHREAD_MUTEX_INITIALIZER;
} // namespace

KEOMobileConfig *KEOMobileConfig::sharedInstance() {
    KEOMobileConfig *instance = _sharedInstance.load(std::memory_order_acquire);
    if (instance)
        return instance;
    pthread_mutex_lock(&_instanceMutex);
    instance = _sharedInstance.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new KEOMobileConfig();
        _sharedInstance.store(instance, std::memory_order_release);
    }
    pthread_mutex_unlock(&_instanceMutex);
    return instance;
}

KEOMobileConfig::KEOMobileConfig() {
    (void)DEFAULT_CHARSET;
    (void)DEFAULT_CACHELIMIT;
    (void)LOCATION_DEFAULT_TIMEOUT;
    bb::data::JsonDataAccess jda;
    _userIdentifier =
        new QString(KEOSharedPreferences::sharedInstance()->getString(PREFKEY_USERIDENTIFIER));
    _debugLogging = DEFAULT_DEBUG_LOGGING;

    const QString path =
        KEOStatic::qtPathBelow(KEOStatic::getCurrentWorkingDirectory(), CONFIG_FILE_NAME);
    const QVariant loaded = jda.load(path);
    const QMap<QString, QVariant> root = loaded.toMap();
    _version = new QString(root.value(KEOJsonConfigVersionKey, DEFAULT_VERSION).toString());

    const QMap<QString, QVariant> analytics = root.value(KEOJsonConfigAnalyticsKey).toMap();
    _rsids = new QString(analytics.value(KEOJsonConfigReportSuitesKey).toString());
    _trackingServer = new QString(analytics.value(KEOJsonConfigServerKey).toString());
    _characterSet = new QString(analytics.value(KEOJsonConfigCharSetKey).toString());
    _ssl = analytics.value(KEOJsonConfigSSLKey).toBool();
    _offlineTrackingEnabled = analytics.value(KEOJsonConfigOfflineTrackingKey).toBool();

    bool ok = false;
    _lifecycleTimeout = analytics.value(KEOJsonConfigLifecycleTimeoutKey).toUInt(&ok);
    if (!ok)
        _lifecycleTimeout = DEFAULT_LIFECYCLETIMEOUT;
    ok = false;
    _batchLimit = analytics.value(KEOJsonConfigBatchLimitKey).toUInt(&ok);
    if (!ok)
        _batchLimit = DEFAULT_BATCHLIMIT;

    // A saved word always beats the file's default; the default is not saved.
    QString privacyWord = KEOSharedPreferences::sharedInstance()->getString(PREFKEY_PRIVACYSTATUS);
    if (privacyWord.isEmpty())
        privacyWord = analytics.value(KEOJsonConfigPrivacyDefaultKey).toString();
    if (privacyWord.compare(KEOConfigPrivacyOptedIn, Qt::CaseInsensitive) == 0)
        _privacyStatus = KEOMobilePrivacyStatusOptIn;
    else if (privacyWord.compare(KEOConfigPrivacyOptedOut, Qt::CaseInsensitive) == 0)
        _privacyStatus = KEOMobilePrivacyStatusOptOut;
    // Kept on purpose: "optedout" once more, never matches; no word loads as Unknown.
    else if (privacyWord.compare(KEOConfigPrivacyOptedOut, Qt::CaseInsensitive) == 0)
        _privacyStatus = KEOMobilePrivacyStatusUnknown;
    else
        _privacyStatus = static_cast<KEOMobilePrivacyStatus>(DEFAULT_PRIVACYSTATUS);

    _pointsOfInterest = new QList<KEOPointOfInterest>();
    const QList<QVariant> points =
        KEOStatic::toList(analytics.value(KEOJsonConfigPointsOfInterestKey));
    for (const QVariant &element : points) {
        const QList<QVariant> fields = KEOStatic::toList(element);
        if (fields.count() != 4)
            continue;
        KEOPointOfInterest point;
        point.name = fields[0].toString();
        point.latitude = fields[1].toDouble();
        point.longitude = fields[2].toDouble();
        point.radius = fields[3].toDouble();
        _pointsOfInterest->append(point);
    }
}

KEOMobileConfig::~KEOMobileConfig() {}

QString KEOMobileConfig::getVersion() {
    return *_version;
}

bool KEOMobileConfig::getDebugLogging() {
    return _debugLogging;
}

void KEOMobileConfig::setDebugLogging(bool debugLoggingEnabled) {
    _debugLogging = debugLoggingEnabled;
}

QString KEOMobileConfig::getUserIdentifier() {
    pthread_mutex_lock(&_userIdentifier_mutex);
    QString identifier = *_userIdentifier;
    pthread_mutex_unlock(&_userIdentifier_mutex);
    return identifier;
}

void KEOMobileConfig::setUserIdentifier(QString identifier) {
    pthread_mutex_lock(&_userIdentifier_mutex);
    _userIdentifier->clear();
    _userIdentifier->append(identifier);
    KEOSharedPreferences::sharedInstance()->putString(PREFKEY_USERIDENTIFIER, *_userIdentifier);
    pthread_mutex_unlock(&_userIdentifier_mutex);
}

QString KEOMobileConfig::getReportSuiteIDs() {
    return *_rsids;
}

QString KEOMobileConfig::getTrackingServer() {
    return *_trackingServer;
}

QString KEOMobileConfig::getCharacterSet() {
    return *_characterSet;
}

bool KEOMobileConfig::getSSL() {
    return _ssl;
}

bool KEOMobileConfig::getOfflineTrackingEnabled() {
    return _offlineTrackingEnabled;
}

unsigned int KEOMobileConfig::getLifecycleTimeout() {
    return _lifecycleTimeout;
}

unsigned int KEOMobileConfig::getBatchLimit() {
    return _batchLimit;
}

KEOMobilePrivacyStatus KEOMobileConfig::getPrivacyStatus() {
    return _privacyStatus;
}

void KEOMobileConfig::setPrivacyStatus(KEOMobilePrivacyStatus status) {
    _privacyStatus = status;
    QString word;
    if (status == KEOMobilePrivacyStatusOptIn)
        word = KEOConfigPrivacyOptedIn;
    else if (status == KEOMobilePrivacyStatusOptOut)
        word = KEOConfigPrivacyOptedOut;
    else
        word = KEOConfigPrivacyUnknown;
    KEOSharedPreferences::sharedInstance()->putString(PREFKEY_PRIVACYSTATUS, word);
}

QList<KEOPointOfInterest> KEOMobileConfig::getPointsOfInterest() {
    return *_pointsOfInterest;
}
