#pragma once
/// \file
/// The one header through which hosts, tests and demos steer the desktop stand-ins of the platform.
/// The library itself never includes it: it only calls the platform's own interfaces.
///
/// Every setter takes effect on the next platform call; the library asks each device fact
/// once per process, so set facts before the first hit. All functions are thread-safe.
///
/// Without a setter, each fact is the host's own, as its user would recognise it: see
/// bb/device/HardwareInfo.hpp, DisplayInfo.hpp and bps/deviceinfo.h.
#include <desktop/PlatformExport.h>

#include <QSize>
#include <QString>
#include <bps/bps.h>

/// Steering of the desktop stand-ins by hosts, tests and demos.
namespace desktop {

// --- Device facts -------------------------------------------------------------------------
/// Model name answered by bb::device::HardwareInfo::deviceName(). Host: DMI product name,
/// device-tree model, or kernel name and machine.
DESKTOP_PLATFORM_EXPORT void setDeviceName(const QString &name);
/// Text answered by deviceinfo_details_get_device_os_version(). Host: os-release's name and
/// version, such as "Debian GNU/Linux 12".
DESKTOP_PLATFORM_EXPORT void setOsVersion(const QString &version);
/// Makes deviceinfo_get_details() fail with BPS_FAILURE and this errno (0 to succeed again).
DESKTOP_PLATFORM_EXPORT void failDeviceInfo(int errnoValue);
/// Carrier answered by bb::device::CellularNetworkInfo::name(). Host: empty (no cellular).
DESKTOP_PLATFORM_EXPORT void setCarrierName(const QString &name);
/// Size answered by bb::device::DisplayInfo::pixelSize(). Host: the GUI application's primary
/// screen, else a connected display's preferred mode, else 0x0.
DESKTOP_PLATFORM_EXPORT void setDisplaySize(const QSize &size);
/// Text answered by locale_get_locale(), such as "fr_CA". Host: the process's language from
/// LC_ALL, LC_MESSAGES or LANG, without codeset or modifier ("C" and "POSIX" fail).
DESKTOP_PLATFORM_EXPORT void setLocale(const QString &locale);
/// Makes locale_get_locale() fail (true) or answer again (false).
DESKTOP_PLATFORM_EXPORT void failLocale(bool fail);
/// For tests: the host's files (DMI, device tree, DRM connectors, os-release) are read under
/// root instead of "/". Empty: "/" again.
DESKTOP_PLATFORM_EXPORT void setHostRoot(const QString &root);

// --- Geolocation --------------------------------------------------------------------------
/// A geolocation event of the given code. The caller owns it; release with freeEvent().
DESKTOP_PLATFORM_EXPORT bps_event_t *
makeGeolocationEvent(double latitude, double longitude, double accuracy,
                     unsigned int code = 0x01 /* GEOLOCATION_INFO */);
/// An event of any domain and code, for example of a domain other than geolocation's.
DESKTOP_PLATFORM_EXPORT bps_event_t *makeEvent(int domain, unsigned int code);
/// Releases an event made above; null is allowed.
DESKTOP_PLATFORM_EXPORT void freeEvent(bps_event_t *event);
/// A domain that is not geolocation's.
DESKTOP_PLATFORM_EXPORT int otherDomain();

// --- Application state --------------------------------------------------------------------
/// Emit awake() / asleep() of bb::cascades::Application::instance() on the calling thread, as
/// they are: for hosts without a user interface and for tests (a GUI host's own state emits
/// them by itself; see bb/cascades/Application.hpp). Return false when no application object
/// exists.
DESKTOP_PLATFORM_EXPORT bool emitAwake();
/// The counterpart of emitAwake(), for asleep(); the same rules.
DESKTOP_PLATFORM_EXPORT bool emitAsleep();

// --- Sandbox ------------------------------------------------------------------------------
/// The one line by which a host asks for a sandbox of its own: its files then lie where the
/// desktop keeps the application's data ($XDG_DATA_HOME/<organisation>/<name>, as Qt's
/// application data location), made with the packaged configuration and a descriptor from
/// QCoreApplication's name and version, instead of below the working directory, which stays as
/// it is. An application that packages its configuration (keomobile_add_application in the
/// CMake package) has one without this call. Call it on any thread after the application's
/// name is set and before the library's first call; later, it changes nothing.
DESKTOP_PLATFORM_EXPORT void useApplicationSandbox();
/// The sandbox's root as the library uses it, made on the first call; empty when the working
/// directory is the root. Any thread.
DESKTOP_PLATFORM_EXPORT QString sandboxRoot();

} // namespace desktop
