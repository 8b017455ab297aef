// The queue inspector's and the demo's report on what the hit table holds.
#pragma once

#include "HitTable.h"

#include <string>

namespace keodemo {

using hittable::countQueue;
using hittable::QueuedHit;
using hittable::QueueSnapshot;
using hittable::readQueue;
using hittable::resolveQueuePath;

// "0s", "42s", "3m 05s", "2h 01m", "4d 03h": an age meant to be read at a glance.
std::string formatAge(long long seconds);

// The inspector's report on a snapshot taken at `now` (seconds since 1970): a heading line, then
// for each row its ID, age and the decoded hit (or the raw URL only, with urlsOnly).
// Colours (ANSI) only when `colour` is true. Any thread.
std::string formatQueue(const QueueSnapshot &snapshot, long long now, bool colour, bool urlsOnly);

} // namespace keodemo
