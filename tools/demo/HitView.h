// How a hit looks to a person: what kind of report it is, a one-line title, and its top-level
// pairs and context tree laid out to be read at a glance. Shared by the demo and the queue
// inspector so that a hit reads the same whether it arrived or still waits.
#pragma once

#include "Collector.h"
#include "HitDecoder.h"

#include <string>
#include <vector>

namespace keodemo {

// The reports an application can see in its hits.
enum class HitKind { State, Action, Location, Lifecycle, Media, Other };
constexpr int kHitKindCount = 6;

// "state", "action", "location", "lifecycle", "media", "other".
const char *kindName(HitKind kind);

// Internal reports are told by their "a.internal" marker, actions by their "KEOACTION:" link
// event, screens by having no link event at all. Pure, any thread.
HitKind kindOf(const collector::DecodedHit &hit);

// One line naming the hit, e.g. `state "Home"`, `action "Add to cart"`, `lifecycle install`,
// `location in "Demo HQ"`, `media "Demo clip" CLOSE`. Pure, any thread.
std::string headline(const collector::DecodedHit &hit);

// ANSI escapes for the views, or nothing at all when colour is off.
struct Palette {
    explicit Palette(bool colour);
    const char *bold, *dim, *key, *branch, *good, *bad, *warn, *reset;
    const char *forKind(HitKind kind) const;

private:
    bool _colour;
};

// The pairs in wire order with aligned values, then the context tree indented by level, each
// line starting with `indent`. A malformed hit says so first. Ends with a newline. Any thread.
std::string renderHit(const collector::DecodedHit &hit, const Palette &palette,
                      const std::string &indent);

// What arrived, each distinct hit counted once: delivery is at least once, so a hit may come
// twice, and a duplicate is no proof of another hit. Plain value type.
struct Receipts {
    size_t total = 0;                // requests received
    size_t distinct = 0;             // different path and query
    size_t malformed = 0;            // of the distinct ones
    int perKind[kHitKindCount] = {}; // of the distinct ones
};

// Counts received hits by identity of path and query. Pure, any thread.
Receipts tally(const std::vector<collector::Hit> &hits);

} // namespace keodemo
