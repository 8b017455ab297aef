// Desktop answers for the platform's device, locale, event and application interfaces.
#include <desktop/DesktopPlatform.h>

#include <bb/cascades/Application>
#include <bb/device/CellularNetworkInfo>
#include <bb/device/DisplayInfo>
#include <bb/device/HardwareInfo>
#include <bps/deviceinfo.h>
#include <bps/geolocation.h>
#include <bps/locale.h>

#include <QFile>
#include <QLocale>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <sys/utsname.h>

namespace {

std::mutex factsMutex;
std::optional<QString> deviceNameOverride;
std::optional<QString> osVersionOverride;
int deviceInfoErrno = 0;
std::optional<QString> carrierOverride;
std::optional<QSize> displayOverride;
std::optional<QString> localeOverride;
bool localeFails = false;

const int GEOLOCATION_DOMAIN = 7;
const int OTHER_DOMAIN = 42;

QString hostDeviceName() {
    QFile file(QStringLiteral("/sys/class/dmi/id/product_name"));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll()).trimmed();
}

QString hostOsVersion() {
    struct utsname name;
    if (uname(&name) != 0)
        return QString();
    return QString::fromUtf8(name.release);
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

QString HardwareInfo::deviceName() const {
    std::lock_guard<std::mutex> lock(factsMutex);
    return deviceNameOverride ? *deviceNameOverride : hostDeviceName();
}

QSize DisplayInfo::pixelSize() const {
    std::lock_guard<std::mutex> lock(factsMutex);
    return displayOverride ? *displayOverride : QSize(0, 0);
}

QString CellularNetworkInfo::name() const {
    std::lock_guard<std::mutex> lock(factsMutex);
    return carrierOverride ? *carrierOverride : QString();
}

} // namespace device

namespace cascades {

namespace {
std::atomic<Application *> currentApplication{nullptr};
}

Application::Application(int &argc, char **argv) : QCoreApplication(argc, argv) {
    currentApplication.store(this);
}

Application::~Application() {
    currentApplication.store(nullptr);
}

Application *Application::instance() {
    return currentApplication.load();
}

} // namespace cascades
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
    std::lock_guard<std::mutex> lock(factsMutex);
    if (deviceInfoErrno != 0) {
        errno = deviceInfoErrno;
        return BPS_FAILURE;
    }
    auto *made = new deviceinfo_details_t;
    made->osVersion = (osVersionOverride ? *osVersionOverride : hostOsVersion()).toUtf8();
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

int locale_get_locale(char **locale) {
    std::lock_guard<std::mutex> lock(factsMutex);
    if (localeFails)
        return BPS_FAILURE;
    QString text = localeOverride ? *localeOverride : QLocale::system().name();
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

void resetDeviceFacts() {
    std::lock_guard<std::mutex> lock(factsMutex);
    deviceNameOverride.reset();
    osVersionOverride.reset();
    deviceInfoErrno = 0;
    carrierOverride.reset();
    displayOverride.reset();
    localeOverride.reset();
    localeFails = false;
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
