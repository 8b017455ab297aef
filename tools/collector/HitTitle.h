// What a hit is about: its kind and a one-line title, the same in the collector's view, the
// demo and the queue inspector.
#pragma once

#include "HitDecoder.h"

#include <string>

namespace collector {

// The reports an application can see in its hits.
enum class HitKind { State, Action, Location, Lifecycle, Media, Other };
constexpr int kHitKindCount = 6;

// "state", "action", "location", "lifecycle", "media", "other".
const char *kindName(HitKind kind);

// Internal reports are told by their "a.internal" marker, actions by their "KEOACTION:" link
// event, screens by having no link event at all. Pure, any thread.
HitKind kindOf(const DecodedHit &hit);

// One line naming the hit, e.g. `state "Home"`, `action "Add to cart"`, `lifecycle install`,
// `location in "Demo HQ"`, `media "Demo clip" CLOSE`. Pure, any thread.
std::string headline(const DecodedHit &hit);

} // namespace collector
