#pragma once
// The QML singleton KEOMobile: the library's calls for QML code, forwarding to the static
// facade. Context data comes as a plain JavaScript object and is flattened into dotted keys.
#include <KEOMobile.h>

#include <QHash>
#include <QJSValue>
#include <QObject>
#include <QString>

class KEOMobileQuick : public QObject {
    Q_OBJECT
    /// The stored privacy status, as KEOMobile::getPrivacyStatus() and setPrivacyStatus().
    Q_PROPERTY(PrivacyStatus privacyStatus READ privacyStatus WRITE setPrivacyStatus NOTIFY
                   privacyStatusChanged)
    /// The application's identifier of the visitor, as KEOMobile::getUserIdentifier().
    Q_PROPERTY(QString userIdentifier READ userIdentifier WRITE setUserIdentifier NOTIFY
                   userIdentifierChanged)
    /// Whether one debug line goes out per hit, as KEOMobile::getDebugLogging().
    Q_PROPERTY(bool debugLogging READ debugLogging WRITE setDebugLogging NOTIFY debugLoggingChanged)

public:
    /// KEOMobilePrivacyStatus with the same values, as QML names it.
    enum PrivacyStatus {
        PrivacyStatusOptIn = KEOMobilePrivacyStatusOptIn,
        PrivacyStatusOptOut = KEOMobilePrivacyStatusOptOut,
        PrivacyStatusUnknown = KEOMobilePrivacyStatusUnknown,
    };
    Q_ENUM(PrivacyStatus)

    /// Made by the QML engine, one per engine, which owns it; every call below runs on the
    /// calling thread (the engine's) and returns without waiting for the network. The
    /// properties read and write the library's settings themselves: a change made through the
    /// C++ calls is read here too, but only a change made here is notified.
    using QObject::QObject;

    /// KEOMobile::trackState with data flattened by contextData().
    Q_INVOKABLE void trackState(const QString &name, const QJSValue &data = QJSValue());
    /// KEOMobile::trackAction with data flattened by contextData().
    Q_INVOKABLE void trackAction(const QString &name, const QJSValue &data = QJSValue());
    /// KEOMobile::collectLifecycleData(); call from the thread of the application object.
    Q_INVOKABLE void collectLifecycleData();

    /// The properties' accessors, for the engine on its thread; each reads or writes the
    /// library's setting at once, as the C++ call of the same name does.
    PrivacyStatus privacyStatus() const;
    void setPrivacyStatus(PrivacyStatus status);
    QString userIdentifier() const;
    void setUserIdentifier(const QString &identifier);
    bool debugLogging() const;
    void setDebugLogging(bool on);

    /// A JavaScript object as context data: strings as they are, numbers and booleans as
    /// QVariant::toString() writes them, null and undefined left out, nested objects (arrays
    /// too) flattened into dotted keys. The caller keeps data; the thread of its engine.
    static QHash<QString, QString> contextData(const QJSValue &data);

    /// Registers KEOMobile, KEOScreen, KEOMediaAnalytics and KEOMediaTracker in the module uri,
    /// version 4.0: once per process, before a QML engine imports it, on the engine's thread.
    static void registerTypes(const char *uri);

Q_SIGNALS:
    /// Emitted on the engine's thread after a write through the property.
    void privacyStatusChanged();
    void userIdentifierChanged();
    void debugLoggingChanged();
};
