#pragma once
// Lifecycle tests under a controlled clock and calendar.
//
// A LifecycleLab is a fresh working directory (WorkDir) with a loopback collector and a
// configuration that points at it. run() executes a list of steps in a child process: this
// same test binary, started again under libfaketime with a frozen clock that each step may
// set, in the lab's working directory and with the time zone asked for. The preferences file
// carries the lifecycle from one child to the next, as it carries it from one run of an
// application to the next.
//
// A step is "<action>" or "<action>@<time>"; the clock is set to <time> before the action
// and stays frozen there. <time> is whole seconds since 1970 ("1000") or the child's local
// wall time "yyyy-MM-dd hh:mm:ss". Actions:
//   start, stop   KEOLifecycle::start() / stop(), directly
//   collect       KEOMobile::collectLifecycleData()
//   awake, asleep the application object emits awake() / asleep() on the child's main thread
//   clock         only sets the clock
//   kill          waits until the child's hits are delivered, then SIGKILLs the child
// After each step the child records the preferences file as it stands on disk. After the
// last step it waits until every hit it stored has been delivered, then ends.
//
// The child runs this same binary; this file registers its entry (LifecycleChild.RunSteps)
// only in the child, so test discovery never lists it.
#include "WorkDir.h"

#include <Collector.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <string>
#include <vector>

// What one child did.
struct ChildRun {
    bool killed = false; // ended by SIGKILL
    int exitCode = -1;   // when it exited; 0 if every step went as it should
    QString output;      // everything the child wrote to standard output and standard error
    QStringList steps;
    QList<QVariantMap> prefs;                // the preferences file right after each step
    std::vector<collector::DecodedHit> hits; // every hit that arrived during the run, in order

    // The preferences right after the first step with exactly this text (empty if none).
    QVariantMap after(const QString &step) const;
    // The lifecycle hits among hits.
    std::vector<collector::DecodedHit> lifecycleHits() const;
};

class LifecycleLab {
public:
    // Application "Lab" in the given version; lifecycleTimeout 300 unless extraConfig says
    // otherwise (it is spliced into the configuration's analytics section).
    explicit LifecycleLab(const QString &version = "1.0",
                          const QString &extraConfig = "\"lifecycleTimeout\": 300");

    WorkDir &dir() { return _dir; }
    collector::Collector &collector() { return _collector; }
    // The preferences file as it stands on disk now (empty when missing).
    QVariantMap prefs() const;
    // A new application version for the children that follow.
    void setVersion(const QString &version);
    // Runs the steps in a child with TZ set to timeZone. Waits at most 20 s.
    ChildRun run(const QStringList &steps, const QString &timeZone = "UTC");

private:
    WorkDir _dir;
    collector::Collector _collector;
    int _runs = 0;
};

// "<absent>" for a key that the hit's context data does not hold.
extern const std::string kAbsent;
// The context value at a dotted key, or kAbsent.
std::string ctx(const collector::DecodedHit &hit, const std::string &key);
// Every dotted context key that holds a value, without those every hit carries ("a.internal"
// and the device facts).
std::vector<std::string> lifecycleKeys(const collector::DecodedHit &hit);
// A preference as stored text, or "-" when the key is missing.
std::string pref(const QVariantMap &prefs, const QString &key);
// "start=<StartTime> pause=<PauseTime> closed=<SuccessfulClose>" in the notation of pref().
std::string session(const QVariantMap &prefs);
