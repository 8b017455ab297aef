#pragma once
// Turns reports into hits. Every call builds the hit and stores it before it returns, on the
// caller's thread; delivery happens on the worker thread. Hashes are taken by value: the
// caller's own are never changed. Any thread may call.
#include <QHash>
#include <QString>

#include <bps/bps.h>

class KEOAnalytics {
public:
    KEOAnalytics() = delete;

    // A screen: "pageName" is the state, or the application identifier when empty.
    static void trackState(QString state, QHash<QString, QString> data);
    // A user action: "a.action" in the context data, "pe" and "pev2" in the hit.
    static void trackAction(QString action, QHash<QString, QString> data);
    // A report the library makes itself (lifecycle, location, media). vars are top-level
    // parameters; when there are none, "pe" and "pev2" mark the hit as an internal action.
    static void trackInternal(QString action, QHash<QString, QString> data,
                              QHash<QString, QString> vars);
    // A geolocation event as an internal "Location" action; geoEvent is only read.
    static void trackLocation(bps_event_t *geoEvent, QHash<QString, QString> data);
};
