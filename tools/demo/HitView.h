// How a hit looks to a person: what kind of report it is, a one-line title, and its top-level
// pairs and context tree laid out to be read at a glance. Shared by the demo and the queue
// inspector so that a hit reads the same whether it arrived or still waits.
#pragma once

#include "HitDecoder.h"

#include <string>

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

} // namespace keodemo
