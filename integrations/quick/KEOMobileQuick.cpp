#include "KEOMobileQuick.h"

#include "KEOMediaAnalyticsQuick.h"
#include "KEOScreen.h"

#include <KEOMediaTracker.h>

#include <QJSValueIterator>
#include <QVariant>

namespace {

void flattenInto(QHash<QString, QString> &flat, const QString &prefix, const QJSValue &object);

void addValue(QHash<QString, QString> &flat, const QString &key, const QJSValue &value) {
    if (value.isNull() || value.isUndefined())
        return;
    if (value.isString())
        flat.insert(key, value.toString());
    else if (value.isObject() && !value.isDate() && !value.isRegExp() && !value.isCallable() &&
             !value.isQObject() && !value.isVariant())
        flattenInto(flat, key + QLatin1Char('.'), value);
    else
        flat.insert(key, value.toVariant().toString());
}

// An array's elements are keyed by their index, without its length.
void flattenInto(QHash<QString, QString> &flat, const QString &prefix, const QJSValue &object) {
    if (object.isArray()) {
        for (quint32 i = 0, n = object.property(QStringLiteral("length")).toUInt(); i < n; ++i)
            addValue(flat, prefix + QString::number(i), object.property(i));
        return;
    }
    for (QJSValueIterator it(object); it.hasNext();) {
        it.next();
        addValue(flat, prefix + it.name(), it.value());
    }
}

} // namespace

QHash<QString, QString> KEOMobileQuick::contextData(const QJSValue &data) {
    QHash<QString, QString> flat;
    if (data.isObject())
        flattenInto(flat, QString(), data);
    return flat;
}

void KEOMobileQuick::registerTypes(const char *uri) {
    qmlRegisterSingletonType<KEOMobileQuick>(
        uri, 4, 0, "KEOMobile",
        [](QQmlEngine *, QJSEngine *) -> QObject * { return new KEOMobileQuick; });
    qmlRegisterUncreatableType<KEOScreen>(uri, 4, 0, "KEOScreen",
                                          QStringLiteral("KEOScreen is an attached type"));
    qmlRegisterSingletonType<KEOMediaAnalyticsQuick>(
        uri, 4, 0, "KEOMediaAnalytics",
        [](QQmlEngine *, QJSEngine *) -> QObject * { return new KEOMediaAnalyticsQuick; });
    qmlRegisterType<KEOMediaTracker>(uri, 4, 0, "KEOMediaTracker");
}

void KEOMobileQuick::trackState(const QString &name, const QJSValue &data) {
    KEOMobile::trackState(name, contextData(data));
}

void KEOMobileQuick::trackAction(const QString &name, const QJSValue &data) {
    KEOMobile::trackAction(name, contextData(data));
}

void KEOMobileQuick::collectLifecycleData() {
    KEOMobile::collectLifecycleData();
}

KEOMobileQuick::PrivacyStatus KEOMobileQuick::privacyStatus() const {
    return static_cast<PrivacyStatus>(KEOMobile::getPrivacyStatus());
}

void KEOMobileQuick::setPrivacyStatus(PrivacyStatus status) {
    KEOMobile::setPrivacyStatus(static_cast<KEOMobilePrivacyStatus>(status));
    emit privacyStatusChanged();
}

QString KEOMobileQuick::userIdentifier() const {
    return KEOMobile::getUserIdentifier();
}

void KEOMobileQuick::setUserIdentifier(const QString &identifier) {
    KEOMobile::setUserIdentifier(identifier);
    emit userIdentifierChanged();
}

bool KEOMobileQuick::debugLogging() const {
    return KEOMobile::getDebugLogging();
}

void KEOMobileQuick::setDebugLogging(bool on) {
    KEOMobile::setDebugLogging(on);
    emit debugLoggingChanged();
}
