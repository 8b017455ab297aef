#include "KEOMobile.h"

#include "KEOAnalytics.h"
#include "KEOMobileConfig.h"
#include "KEONotificationHandler.h"

const char *KEOMobile::version = "4.0.0";

KEOMobilePrivacyStatus KEOMobile::getPrivacyStatus() {
    return KEOMobileConfig::sharedInstance()->getPrivacyStatus();
}

void KEOMobile::setPrivacyStatus(KEOMobilePrivacyStatus status) {
    KEOMobileConfig::sharedInstance()->setPrivacyStatus(status);
}

QString KEOMobile::getUserIdentifier() {
    return KEOMobileConfig::sharedInstance()->getUserIdentifier();
}

void KEOMobile::setUserIdentifier(QString identifier) {
    KEOMobileConfig::sharedInstance()->setUserIdentifier(identifier);
}

bool KEOMobile::getDebugLogging() {
    return KEOMobileConfig::sharedInstance()->getDebugLogging();
}

void KEOMobile::setDebugLogging(bool debugLogging) {
    KEOMobileConfig::sharedInstance()->setDebugLogging(debugLogging);
}

void KEOMobile::trackState(QString state, QHash<QString, QString> contextData) {
    KEOAnalytics::trackState(state, contextData);
}

void KEOMobile::trackAction(QString action, QHash<QString, QString> contextData) {
    KEOAnalytics::trackAction(action, contextData);
}

void KEOMobile::trackLocation(bps_event_t *geoEvent, QHash<QString, QString> contextData) {
    KEOAnalytics::trackLocation(geoEvent, contextData);
}

void KEOMobile::collectLifecycleData() {
    // Its whole effect is that the handler exists; later calls find it and do nothing.
    KEONotificationHandler::sharedInstance();
}
