#pragma once
/// \file
/// The public interface of the measurement library.
///
/// An application calls these static methods from any thread; none of them blocks on the
/// network, none returns an error, and none needs an earlier call: whatever the library
/// needs comes into being at first use and lives until the process ends. Failures are
/// written as one line to standard error ("KEOMobile Error: ...") and the call goes on.
/// Media playback is measured through KEOMediaAnalytics.
#include "KEOMobileExport.h"

#include <QHash>
#include <QString>

#include <cstdint>

#include <bps/bps.h>

/// The visitor's privacy choice. It is stored and reported; it does not stop hits.
/// A fixed 32-bit type: any value an application passes is a valid status to hold.
enum KEOMobilePrivacyStatus : int32_t {
    KEOMobilePrivacyStatusOptIn = 1,   ///< Saved as "optedin".
    KEOMobilePrivacyStatusOptOut = 2,  ///< Saved as "optedout".
    KEOMobilePrivacyStatusUnknown = 3, ///< Saved as "optunknown", which reads back as OptIn.
};

/// Static entry points of the library; there is no instance. Every call copies what it is
/// given and keeps no reference to the caller's objects; the library owns its own state, made
/// at first use and never destroyed.
class KEOMOBILE_EXPORT KEOMobile {
public:
    /// Library version, sent as the tail of every hit's path.
    static const char *version;

    /// Privacy status: the saved choice, else the configuration's default. Any thread.
    static KEOMobilePrivacyStatus getPrivacyStatus();
    /// Stores the status for this process and saves it for the next. Any thread.
    static void setPrivacyStatus(KEOMobilePrivacyStatus status);

    /// The application's own identifier of the visitor, sent as "vid" when not empty.
    /// Saved across restarts. Any thread.
    static QString getUserIdentifier();
    /// Sets the identifier for this process and saves it for the next; the text is copied.
    /// Any thread.
    static void setUserIdentifier(QString identifier);

    /// Whether debug lines go to standard output ("KEOMobile Debug: ..."), one per hit.
    /// Starts false in every process. Any thread.
    static bool getDebugLogging();
    /// Turns the debug lines on or off for this process only. Any thread.
    static void setDebugLogging(bool debugLogging);

    /// Reports a screen. contextData is copied; the caller keeps ownership. The hit is stored
    /// before the call returns and delivered by the library's worker thread. Any thread.
    static void trackState(QString state, QHash<QString, QString> contextData);
    /// Reports a user action, as trackState.
    static void trackAction(QString action, QHash<QString, QString> contextData);
    /// Reports a geolocation event the application received. The caller keeps ownership of
    /// geoEvent, which is read during the call only; null or a non-position event is
    /// refused with an error line. Any thread.
    static void trackLocation(bps_event_t *geoEvent, QHash<QString, QString> contextData);
    /// Starts measuring launches and sessions from the application object's awake() and
    /// asleep() signals. Call once the application object exists, from the thread that owns
    /// it; further calls do nothing.
    static void collectLifecycleData();
};
