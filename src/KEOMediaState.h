#pragma once
// The snapshot of one media event, as handed to the application's delegate. The delegate owns
// it from then on and frees it with delete; the library keeps no pointer to it.
#include <QDateTime>
#include <QString>

class KEOMediaState {
public:
    KEOMediaState();
    virtual ~KEOMediaState();

    QString name;
    bool ad;
    // Meaningful only for a "CLICK" event.
    bool clicked;
    double length;
    QString playerName;
    // "OPEN", "PLAY", "STOP", "MONITOR", "TRACK", "COMPLETE", "CLICK", "CLOSE", "MILESTONE",
    // "OFFSET_MILESTONE" or "SECONDS".
    QString mediaEvent;
    // First event under this name (milestones: under this milestone) for the item.
    bool eventFirstTime;
    QDateTime openTime;
    double offset;
    double percent;
    double timePlayed;
    // Meaningful only for a "MILESTONE" event.
    double milestone;
    // Meaningful only for an "OFFSET_MILESTONE" event.
    double offsetMilestone;
    int segmentNum;
    QString segment;
    double segmentLength;
    // Meaningful only when the item completed with this event.
    bool complete;
};
