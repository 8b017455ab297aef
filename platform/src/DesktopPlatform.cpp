// Desktop answers for the platform's device, locale, event and application interfaces.
#include <desktop/DesktopPlatform.h>

#include "HostFacts.h"

#include <bb/cascades/Application>
#include <bb/device/CellularNetworkInfo>
#include <bb/device/DisplayInfo>
#include <bb/device/HardwareInfo>
#include <bps/deviceinfo.h>
#include <bps/geolocation.h>
#include <bps/locale.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>

namespace {

std::mutex factsMutex;
std::optional<QString> deviceNameOverride;
std::optional<QString> osVersionOverride;
int deviceInfoErrno = 0;
std::optional<QString> carrierOverride;
std::optional<QSize> displayOverride;
std::optional<QString> localeOverride;
bool localeFails = false;
QString hostRoot;

const int GEOLOCATION_DOMAIN = 7;
const int OTHER_DOMAIN = 42;

// The root under which host files are read, and the override of one fact, taken together.
template <typename T> std::optional<T> overrideOf(const std::optional<T> &value, QString &root) {
    std::lock_guard<std::mutex> lock(factsMutex);
    root = hostRoot;
    return value;
}

} // namespace

struct deviceinfo_details_t {
    QByteArray osVersion;
};

struct bps_event_t {
    int domain;
    unsigned int code;
    double latitude;
    double longitude;
    double accuracy;
};

namespace bb {
namespace device {

// The host's answers are read outside the lock: they may wait on files or on Qt.
QString HardwareInfo::deviceName() const {
    QString root;
    const std::optional<QString> name = overrideOf(deviceNameOverride, root);
    return name ? *name : desktop::host::deviceName(root);
}

QSize DisplayInfo::pixelSize() const {
    QString root;
    const std::optional<QSize> size = overrideOf(displayOverride, root);
    return size ? *size : desktop::host::displaySize(root);
}

QString CellularNetworkInfo::name() const {
    std::lock_guard<std::mutex> lock(factsMutex);
    return carrierOverride ? *carrierOverride : QString();
}

} // namespace device

} // namespace bb

extern "C" {

void bps_free(void *ptr) {
    std::free(ptr);
}

int bps_event_get_domain(bps_event_t *event) {
    return event ? event->domain : 0;
}

unsigned int bps_event_get_code(bps_event_t *event) {
    return event ? event->code : 0;
}

int deviceinfo_get_details(deviceinfo_details_t **details) {
    QString root;
    std::optional<QString> version;
    {
        std::lock_guard<std::mutex> lock(factsMutex);
        if (deviceInfoErrno != 0) {
            errno = deviceInfoErrno;
            return BPS_FAILURE;
        }
        version = osVersionOverride;
        root = hostRoot;
    }
    auto *made = new deviceinfo_details_t;
    made->osVersion = (version ? *version : desktop::host::osVersion(root)).toUtf8();
    *details = made;
    return BPS_SUCCESS;
}

const char *deviceinfo_details_get_device_os_version(deviceinfo_details_t *details) {
    return details ? details->osVersion.constData() : nullptr;
}

void deviceinfo_free_details(deviceinfo_details_t **details) {
    if (details == nullptr)
        return;
    delete *details;
    *details = nullptr;
}

// The process's language as POSIX orders it (LC_ALL, LC_MESSAGES, LANG), without its codeset
// or modifier: "fr_CA.UTF-8@euro" is "fr_CA". Read from the environment rather than QLocale,
// because the worker's first pass asks for it and may run while the exit handlers tear Qt's
// global state down.
static QString hostLocale() {
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char *value = getenv(name);
        if (value != nullptr && *value != '\0')
            return QString::fromLatin1(value, static_cast<int>(strcspn(value, ".@")));
    }
    return QStringLiteral("C");
}

int locale_get_locale(char **locale) {
    std::lock_guard<std::mutex> lock(factsMutex);
    if (localeFails)
        return BPS_FAILURE;
    QString text = localeOverride ? *localeOverride : hostLocale();
    // "C" and "POSIX" name no language: the platform would have none to give.
    if (!localeOverride && (text == QLatin1String("C") || text == QLatin1String("POSIX")))
        return BPS_FAILURE;
    *locale = strdup(text.toUtf8().constData());
    return BPS_SUCCESS;
}

int geolocation_get_domain(void) {
    return GEOLOCATION_DOMAIN;
}

double geolocation_event_get_latitude(bps_event_t *event) {
    return event ? event->latitude : 0.0;
}

double geolocation_event_get_longitude(bps_event_t *event) {
    return event ? event->longitude : 0.0;
}

double geolocation_event_get_accuracy(bps_event_t *event) {
    return event ? event->accuracy : 0.0;
}

} // extern "C"

namespace desktop {

void setDeviceName(const QString &name) {
    std::lock_guard<std::mutex> lock(factsMutex);
    deviceNameOverride = name;
}

void setOsVersion(const QString &version) {
    std::lock_guard<std::mutex> lock(factsMutex);
    osVersionOverride = version;
}

void failDeviceInfo(int errnoValue) {
    std::lock_guard<std::mutex> lock(factsMutex);
    deviceInfoErrno = errnoValue;
}

void setCarrierName(const QString &name) {
    std::lock_guard<std::mutex> lock(factsMutex);
    carrierOverride = name;
}

void setDisplaySize(const QSize &size) {
    std::lock_guard<std::mutex> lock(factsMutex);
    displayOverride = size;
}

void setLocale(const QString &locale) {
    std::lock_guard<std::mutex> lock(factsMutex);
    localeOverride = locale;
}

void failLocale(bool fail) {
    std::lock_guard<std::mutex> lock(factsMutex);
    localeFails = fail;
}

void setHostRoot(const QString &root) {
    std::lock_guard<std::mutex> lock(factsMutex);
    hostRoot = root;
}

bps_event_t *makeGeolocationEvent(double latitude, double longitude, double accuracy,
                                  unsigned int code) {
    return new bps_event_t{GEOLOCATION_DOMAIN, code, latitude, longitude, accuracy};
}

bps_event_t *makeEvent(int domain, unsigned int code) {
    return new bps_event_t{domain, code, 0.0, 0.0, 0.0};
}

void freeEvent(bps_event_t *event) {
    delete event;
}

int otherDomain() {
    return OTHER_DOMAIN;
}

bool emitAwake() {
    bb::cascades::Application *app = bb::cascades::Application::instance();
    if (app == nullptr)
        return false;
    emit app->awake();
    return true;
}

bool emitAsleep() {
    bb::cascades::Application *app = bb::cascades::Application::instance();
    if (app == nullptr)
        return false;
    emit app->asleep();
    return true;
}

} // namespace desktop
