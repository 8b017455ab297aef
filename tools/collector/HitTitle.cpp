// What a hit is about, read from the markers and pairs the sender writes.
#include "HitTitle.h"

#include <cstdio>
#include <cstdlib>

namespace collector {

namespace {

std::string orEmpty(const std::optional<std::string> &text) {
    return text ? *text : std::string();
}

std::string quoted(const std::string &text) {
    return "\"" + text + "\"";
}

// The three coordinate pieces joined again, e.g. "045.5" "02" "00" -> "45.50200".
std::string coordinate(const DecodedHit &hit, const std::string &axis) {
    const std::string joined = orEmpty(hit.ctx("a.loc." + axis + ".a")) +
                               orEmpty(hit.ctx("a.loc." + axis + ".b")) +
                               orEmpty(hit.ctx("a.loc." + axis + ".c"));
    if (joined.empty())
        return "?";
    char text[32];
    std::snprintf(text, sizeof(text), "%.5f", std::strtod(joined.c_str(), nullptr));
    return text;
}

std::string lifecycleTitle(const DecodedHit &hit) {
    std::string title = hit.ctx("a.InstallEvent") ? "lifecycle install" : "lifecycle launch";
    if (const auto launches = hit.ctx("a.Launches"))
        title += " #" + *launches;
    if (hit.ctx("a.UpgradeEvent"))
        title += ", upgrade";
    if (hit.ctx("a.CrashEvent"))
        title += ", after a crash";
    if (const auto length = hit.ctx("a.PrevSessionLength"))
        title += ", previous session " + *length + " s";
    return title;
}

std::string mediaTitle(const DecodedHit &hit) {
    std::string title;
    if (const auto ad = hit.ctx("a.media.ad.name")) {
        title = "media ad " + quoted(*ad);
        if (const auto parent = hit.ctx("a.media.name"))
            title += " in " + quoted(*parent);
    } else {
        title = "media " + quoted(orEmpty(hit.ctx("a.media.name")));
    }
    const bool ad = hit.ctx("a.media.ad.name").has_value();
    const std::string prefix = ad ? "a.media.ad." : "a.media.";
    if (hit.ctx(prefix + "view"))
        title += ", view";
    if (const auto milestone = hit.ctx(prefix + "milestone"))
        title += ", milestone " + *milestone + " %";
    if (const auto segment = hit.ctx(prefix + "segment"))
        title += ", segment " + *segment;
    if (const auto played = hit.ctx(prefix + "timePlayed"))
        title += ", played " + *played + " s";
    if (hit.ctx(prefix + "complete"))
        title += ", complete";
    return title;
}

std::string locationTitle(const DecodedHit &hit) {
    std::string title = "location " + coordinate(hit, "lat") + ", " + coordinate(hit, "lon");
    if (const auto poi = hit.ctx("a.loc.poi"))
        title += " in " + quoted(*poi) + " (" + orEmpty(hit.ctx("a.loc.dist")) + " m away)";
    else
        title += ", outside every point of interest";
    return title;
}

} // namespace

const char *kindName(HitKind kind) {
    switch (kind) {
    case HitKind::State:
        return "state";
    case HitKind::Action:
        return "action";
    case HitKind::Location:
        return "location";
    case HitKind::Lifecycle:
        return "lifecycle";
    case HitKind::Media:
        return "media";
    case HitKind::Other:
        break;
    }
    return "other";
}

HitKind kindOf(const DecodedHit &hit) {
    if (const auto internal = hit.ctx("a.internal")) {
        if (*internal == "Lifecycle")
            return HitKind::Lifecycle;
        if (*internal == "Location")
            return HitKind::Location;
        if (*internal == "VideoTracking")
            return HitKind::Media;
        return HitKind::Other;
    }
    const auto pe = hit.var("pe");
    if (!pe)
        return HitKind::State;
    if (orEmpty(hit.var("pev2")).rfind("KEOACTION:", 0) == 0)
        return HitKind::Action;
    return HitKind::Other;
}

std::string headline(const DecodedHit &hit) {
    switch (kindOf(hit)) {
    case HitKind::State:
        return "state " + quoted(orEmpty(hit.var("pageName")));
    case HitKind::Action:
        return "action " + quoted(orEmpty(hit.var("pev2")).substr(10));
    case HitKind::Lifecycle:
        return lifecycleTitle(hit);
    case HitKind::Location:
        return locationTitle(hit);
    case HitKind::Media:
        return mediaTitle(hit);
    case HitKind::Other:
        break;
    }
    return "other " + quoted(orEmpty(hit.var("pev2")));
}

} // namespace collector
