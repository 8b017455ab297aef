#pragma once
// Runs of an application under a frozen clock: a WorkDir, current while the lab lives, with a
// collector and a configuration for it ("Lab" 1.0, lifecycleTimeout 300, offline off). play()
// runs each part of a script split by " | " in a child of this test binary under libfaketime,
// its words split by blanks: first settings, TZ=<zone> (kept for later runs),
// app=<name>/<version>, timeout=<s>, prefs=<json>; then steps, start, stop (KEOLifecycle), launch
// (start, stop), app (the application object), collect, race (two threads collect at once),
// awake, asleep (emitted), kill (delivers, then SIGKILL). A step may end in @T: the clock is set
// to T, seconds since 1970 or local "2026-03-07T09:30:00", and stays. Children deliver their hits.
#include "WorkDir.h"

#include <Collector.h>

#include <QStringList>

#include <string>

// Owns its directory, collector and children; used from the test's thread only.
class LifecycleLab {
public:
    LifecycleLab();
    // Fails the test when a child does not end as its run says; returns the last child's output.
    QString play(const QString &script);
    // The lifecycle hits from the skip-th on, joined by " | ": of each, the "a." keys in the
    // list (all but those of every hit when empty), by name, as "Name=value", or as "Name" for
    // an event whose value is its name; "-" when none.
    std::string launches(const QStringList &keys = {}, int skip = 0) const;
    // The values of keys in the preferences file as it stands now, or after every step so far,
    // "v/v/v" per step joined by blanks, "-" for a missing key.
    std::string prefs(const QStringList &keys, bool everyStep = false) const;

    WorkDir dir;
    collector::Collector collector;

private:
    QString _zone = "UTC";
};
