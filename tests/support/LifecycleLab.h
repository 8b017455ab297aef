#pragma once
// Runs of an application under a frozen clock. A LifecycleLab is a working directory (WorkDir,
// current while the lab lives) with a loopback collector and a configuration for it: "Lab"
// 1.0, lifecycleTimeout 300, offline tracking off. play() runs a script in children of this
// test binary under libfaketime; the preferences file carries the lifecycle from one child to
// the next. A script is runs split by " | ", each one child of words split by blanks:
//   TZ=<zone> (kept for later runs), app=<name>/<version>, timeout=<s>, prefs=<json>:
//   set before the child starts
//   start, stop: KEOLifecycle::start() / stop(); launch: start() then stop(); app: the
//   application object comes into being; collect: KEOMobile::collectLifecycleData(); race:
//   two threads make the first call at once; awake, asleep: the application object emits them;
//   kill: delivers the run's hits, then SIGKILL
// Any step may end in @T: first the clock is set to T, seconds since 1970 ("1000") or local
// wall time ("2026-03-07T09:30:00"), and stays there. A child delivers every hit it stored.
#include "WorkDir.h"

#include <Collector.h>

#include <QStringList>

#include <string>

// Owns its directory, collector and children; used from the test's thread only.
class LifecycleLab {
public:
    LifecycleLab();
    // Fails the test, with the child's output, when a child does not end as its run says.
    // Returns what the last child wrote on standard output and standard error.
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
