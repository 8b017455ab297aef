#pragma once
// What the library was configured with: app/native/KEOMobileConfig.json, read once when the
// singleton is made, merged with the saved user identifier and privacy status.
// Getters may be called from any thread. Only the privacy status, the user identifier and
// the debug switch change after construction.
#include "KEOMobile.h"
#include "KEOPointOfInterest.h"

#include <QList>
#include <QString>

#include <atomic>
#include <pthread.h>

extern pthread_mutex_t _userIdentifier_mutex;

class KEOMobileConfig {
public:
    // The singleton, made at first use (which also makes the preferences store); never
    // destroyed.
    static KEOMobileConfig *sharedInstance();
    virtual ~KEOMobileConfig();

    QString getVersion();
    bool getDebugLogging();
    // Not saved: every process starts with debug logging off.
    void setDebugLogging(bool debugLoggingEnabled);
    QString getUserIdentifier();
    // Saved under "MCCVID"; an empty identifier is saved like any other.
    void setUserIdentifier(QString identifier);
    QString getReportSuiteIDs();
    QString getTrackingServer();
    QString getCharacterSet();
    bool getSSL();
    bool getOfflineTrackingEnabled();
    unsigned int getLifecycleTimeout();
    unsigned int getBatchLimit();
    KEOMobilePrivacyStatus getPrivacyStatus();
    // Kept as given, also outside the enumeration; saved as "optedin", "optedout" or
    // "optunknown".
    void setPrivacyStatus(KEOMobilePrivacyStatus status);
    // A copy of the configured points, in file order.
    QList<KEOPointOfInterest> getPointsOfInterest();

private:
    KEOMobileConfig();

    QString *_version;
    QString *_userIdentifier;
    // Atomic: read by every thread that logs, written by the application at any time.
    std::atomic<bool> _debugLogging;
    QString *_rsids;
    QString *_trackingServer;
    QString *_characterSet;
    bool _ssl;
    bool _offlineTrackingEnabled;
    unsigned int _lifecycleTimeout;
    unsigned int _batchLimit;
    // Atomic: read and written from any application thread without a lock.
    std::atomic<KEOMobilePrivacyStatus> _privacyStatus;
    QList<KEOPointOfInterest> *_pointsOfInterest;
};
