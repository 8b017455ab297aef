// How a hit looks to a person in a terminal: its kind and title (from the collector, so that the
// web view names hits alike), and its top-level pairs and context tree laid out to be read at a
// glance. Shared by the demo and the queue inspector so that a hit reads the same whether it
// arrived or still waits.
#pragma once

#include "Collector.h"
#include "HitDecoder.h"
#include "HitTitle.h"

#include <string>
#include <vector>

namespace keodemo {

using collector::headline;
using collector::HitKind;
using collector::kHitKindCount;
using collector::kindName;
using collector::kindOf;

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
