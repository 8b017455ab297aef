#include "KEOMobileQuick.h"

#include "KEOMediaAnalyticsQuick.h"
#include "KEOScreen.h"
#include "KEOScreenCommon.h"

#include <KEOMediaTracker.h>

#include <QJSValueIterator>
#include <QVariant>

namespace {

// JavaScript values: plain objects and arrays are walked into, null and undefined left out.
struct JsTree {
    // An array's elements are keyed by their index, without its length.
    template <typename Visit> static void forEachChild(const QJSValue &object, Visit visit) {
        if (object.isArray()) {
            for (quint32 i = 0, n = object.property(QStringLiteral("length")).toUInt(); i < n; ++i)
                visit(QString::number(i), object.property(i));
            return;
        }
        for (QJSValueIterator it(object); it.hasNext();) {
            it.next();
            visit(it.name(), it.value());
        }
    }
    static bool isNested(const QJSValue &value) {
        return value.isObject() && !value.isDate() && !value.isRegExp() && !value.isCallable() &&
               !value.isQObject() && !value.isVariant();
    }
    static bool isLeftOut(const QJSValue &value) { return value.isNull() || value.isUndefined(); }
    static QString text(const QJSValue &value) {
        return value.isString() ? value.toString() : value.toVariant().toString();
    }
};

} // namespace

QHash<QString, QString> KEOMobileQuick::contextData(const QJSValue &data) {
    QHash<QString, QString> flat;
    if (data.isObject())
        keo_screen::flattenInto<JsTree>(flat, QString(), data);
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
