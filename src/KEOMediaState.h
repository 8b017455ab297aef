#pragma once
/// \file
/// The snapshot of one media event, as handed to the application's delegate. The delegate owns
/// it from then on and frees it with delete; the library keeps no pointer to it.
#include "KEOMobileExport.h"

#include <QDateTime>
#include <QString>

/// One event's snapshot; see the file comment for who owns it. Plain fields, read on the
/// delegate's thread.
class KEOMOBILE_EXPORT KEOMediaState {
public:
    /// Text fields empty, the rest unset; the engine fills every field it reports.
    KEOMediaState();
    /// The delegate deletes the snapshot when done with it, on any thread.
    virtual ~KEOMediaState();
    /// A copy: a delegate may keep a snapshot's value and delete the snapshot.
    KEOMediaState(const KEOMediaState &) = default;
    /// As the copy, taking the text fields over.
    KEOMediaState(KEOMediaState &&) = default;
    /// Assigns a copy.
    KEOMediaState &operator=(const KEOMediaState &) = default;
    /// Assigns, taking the text fields over.
    KEOMediaState &operator=(KEOMediaState &&) = default;

    /// The item's name, simplified.
    QString name;
    /// The item is an ad.
    bool ad;
    /// Meaningful only for a "CLICK" event.
    bool clicked;
    /// Length in seconds, -1 when unknown.
    double length;
    /// Name of the player, simplified.
    QString playerName;
    /// "OPEN", "PLAY", "STOP", "MONITOR", "TRACK", "COMPLETE", "CLICK", "CLOSE", "MILESTONE",
    /// "OFFSET_MILESTONE" or "SECONDS".
    QString mediaEvent;
    /// First event under this name (milestones: under this milestone) for the item.
    bool eventFirstTime;
    /// When the item was opened, local time.
    QDateTime openTime;
    /// Position at this event, in seconds.
    double offset;
    /// Position as percent of the length, at most 100.
    double percent;
    /// Seconds played in all.
    double timePlayed;
    /// Meaningful only for a "MILESTONE" event.
    double milestone;
    /// Meaningful only for an "OFFSET_MILESTONE" event.
    double offsetMilestone;
    /// Number of the current segment, from 1.
    int segmentNum;
    /// Name of the current segment.
    QString segment;
    /// Length of the current segment.
    double segmentLength;
    /// Meaningful only when the item completed with this event.
    bool complete;
};
