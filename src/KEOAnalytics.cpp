#include "KEOAnalytics.h"

#include "KEOAnalyticsWorker.h"
#include "KEOMobile.h"
#include "KEOMobileConfig.h"
#include "KEOStatic.h"

#include <bps/geolocation.h>

#include <QList>

#include <cmath>
#include <pthread.h>

// Allocated once and never destroyed: the detached worker and media monitor threads may still
// read them while the process runs its exit handlers.
static const QString &DEVICE_NAME_KEY = *new QString("a.DeviceName");
static const QString &CARRIER_NAME_KEY = *new QString("a.CarrierName");
static const QString &OS_VERSION_KEY = *new QString("a.OSVersion");
static const QString &RESOLUTION_KEY = *new QString("a.Resolution");
// Reserved: no hit carries it.
[[maybe_unused]] static const char WINDOW_RESOLUTION_KEY[] = "a.WindowResolution";

static const double R = 6371.0;
static const double RADIAN_CONVERSION = 0.017453292519943295;

static QString &_baseURL = *new QString();
// The same text as UTF-8, the form every hit is written and stored in.
static QByteArray &_baseURLUtf8 = *new QByteArray();
static pthread_once_t _baseURL_pred = PTHREAD_ONCE_INIT;

static void _initBaseURL() {
    KEOMobileConfig *config = KEOMobileConfig::sharedInstance();
    const bool ssl = config->getSSL();
    const QString server = config->getTrackingServer();
    const QString rsids = KEOStatic::urlEncode(config->getReportSuiteIDs());
    _baseURL = QString("%1://%2/b/ss/%3/0/BBN-%4")
                   .arg(ssl ? QString("https") : QString("http"), server, rsids,
                        QString(KEOMobile::version));
    _baseURLUtf8 = _baseURL.toUtf8();
}

// Decimal digits of a value that is never negative, as QString::number writes them.
static void appendDecimal(QByteArray &out, int value) {
    char digits[16];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0);
    while (count > 0)
        out += digits[--count];
}

static void trackRequest(QHash<QString, QString> data, QHash<QString, QString> vars) {
    QHash<QString, QString> mutableData = data;
    mutableData[RESOLUTION_KEY] = KEOStatic::getResolution();
    mutableData[DEVICE_NAME_KEY] = KEOStatic::getPlatform();
    mutableData[OS_VERSION_KEY] = KEOStatic::getOperatingSystem();
    mutableData[CARRIER_NAME_KEY] = KEOStatic::getCarrier();

    QHash<QString, QString> mutableVars = vars;
    KEOMobileConfig *config = KEOMobileConfig::sharedInstance();
    if (!config->getUserIdentifier().isEmpty())
        mutableVars["vid"] = config->getUserIdentifier();
    mutableVars["ce"] = config->getCharacterSet();
    if (config->getOfflineTrackingEnabled())
        mutableVars["ts"] = QString::number(KEOStatic::timeSince1970(), 10);
    mutableVars["t"] = KEOStatic::timestampString();
    mutableVars["aid"] = KEOStatic::getServerVisitorID();

    pthread_once(&_baseURL_pred, _initBaseURL);
    // The URL is written once, as the UTF-8 the table stores, into room made for a typical hit.
    // Under a kilobyte, where an allocation is a quick one.
    QByteArray url;
    url.reserve(_baseURLUtf8.size() + 512);
    url += _baseURLUtf8;
    url += "/s";
    appendDecimal(url, KEOStatic::qrandDraw() % 100000000);
    url += "?AQB=1&ndh=1";
    if (!KEOStatic::appendQueryString(url, mutableVars, mutableData)) {
        // Text of a gigabyte or more: no table could take it.
        KEOStatic::logError("Analytics - Unable to insert url(%s)", url.constData());
        return;
    }
    url += "&AQE=1";

    if (config->getDebugLogging())
        KEOStatic::logDebug("Analytics -- Attempting to send request (%s)", url.constData());
    KEOAnalyticsWorker::sharedInstance()->queueUtf8(url);
}

void KEOAnalytics::trackState(QString state, QHash<QString, QString> data) {
    QHash<QString, QString> vars;
    vars["pageName"] = !state.isEmpty() ? state : KEOStatic::getApplicationID();
    trackRequest(data, vars);
}

void KEOAnalytics::trackAction(QString action, QHash<QString, QString> data) {
    QHash<QString, QString> mutableData = data;
    mutableData["a.action"] = action;
    QHash<QString, QString> mutableVars;
    mutableVars["pe"] = "lnk_o";
    mutableVars["pev2"] =
        QString("KEOACTION:%1").arg(action.isEmpty() ? QString("None") : action, 0, QChar(' '));
    mutableVars["pageName"] = KEOStatic::getApplicationID();
    trackRequest(mutableData, mutableVars);
}

void KEOAnalytics::trackInternal(QString action, QHash<QString, QString> data,
                                 QHash<QString, QString> vars) {
    QHash<QString, QString> mutableData = data;
    mutableData["a.internal"] = action;
    QHash<QString, QString> mutableVars = vars;
    // Kept on purpose: any var of the caller's at all leaves out "pe" and "pev2".
    if (mutableVars.count() < 1) {
        mutableVars["pe"] = "lnk_o";
        mutableVars["pev2"] = QString("KEOINTERNAL:%1")
                                  .arg(action.isEmpty() ? QString("None") : action, 0, QChar(' '));
    }
    mutableVars["pageName"] = KEOStatic::getApplicationID();
    trackRequest(mutableData, mutableVars);
}

static double distanceInMeters(double nLat1, double nLon1, double nLat2, double nLon2) {
    const double nDLat = (nLat2 - nLat1) * RADIAN_CONVERSION;
    const double nDLon = (nLon2 - nLon1) * RADIAN_CONVERSION;
    nLat1 *= RADIAN_CONVERSION;
    nLat2 *= RADIAN_CONVERSION;
    const double nA = std::sin(nDLat / 2) * std::sin(nDLat / 2) +
                      std::cos(nLat1) * std::cos(nLat2) * std::sin(nDLon / 2) * std::sin(nDLon / 2);
    const double nC = 2 * std::atan2(std::sqrt(nA), std::sqrt(1 - nA));
    const double nD = R * nC;
    return nD * 1000;
}

void KEOAnalytics::trackLocation(bps_event_t *geoEvent, QHash<QString, QString> data) {
    if (geoEvent == nullptr) {
        KEOStatic::logError("Analytics - Unable to track location(null geo event).");
        return;
    }
    if (bps_event_get_domain(geoEvent) != geolocation_get_domain()) {
        KEOStatic::logError("Analytics - Unable to track location(incorrect domain).");
        return;
    }
    if (bps_event_get_code(geoEvent) != GEOLOCATION_INFO) {
        KEOStatic::logError("Analytics - Unable to track location(incorrect code on geo event).");
        return;
    }
    const double lat = geolocation_event_get_latitude(geoEvent);
    const double lon = geolocation_event_get_longitude(geoEvent);
    const double acc = geolocation_event_get_accuracy(geoEvent);

    const QString latString = QString::asprintf("% 011.6f", lat);
    const QString lonString = QString::asprintf("% 011.6f", lon);

    QHash<QString, QString> mutableData = data;
    mutableData["a.loc.lat.a"] = latString.left(6).trimmed();
    mutableData["a.loc.lat.b"] = latString.mid(6, 2);
    mutableData["a.loc.lat.c"] = latString.mid(8, 2);
    mutableData["a.loc.lon.a"] = lonString.left(6).trimmed();
    mutableData["a.loc.lon.b"] = lonString.mid(6, 2);
    mutableData["a.loc.lon.c"] = lonString.mid(8, 2);
    const QString accString = QString::asprintf("%.0f", acc);
    mutableData["a.loc.acc"] = accString;

    const QList<KEOPointOfInterest> points =
        KEOMobileConfig::sharedInstance()->getPointsOfInterest();
    for (const KEOPointOfInterest &point : points) {
        const double distance = distanceInMeters(lat, lon, point.latitude, point.longitude);
        // Inclusive; a distance that is not a number matches nothing.
        if (point.radius >= distance) {
            mutableData["a.loc.poi"] = point.name;
            const QString distString = QString::asprintf("%.0f", distance);
            mutableData["a.loc.dist"] = distString;
            break;
        }
    }
    KEOAnalytics::trackInternal("Location", mutableData, QHash<QString, QString>());
}
