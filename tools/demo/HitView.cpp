#include "HitView.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <vector>

namespace keodemo {

namespace {

std::string orEmpty(const std::optional<std::string> &text) {
    return text ? *text : std::string();
}

std::string quoted(const std::string &text) {
    return "\"" + text + "\"";
}

// The three coordinate pieces joined again, e.g. "045.5" "02" "00" -> "45.50200".
std::string coordinate(const collector::DecodedHit &hit, const std::string &axis) {
    const std::string joined = orEmpty(hit.ctx("a.loc." + axis + ".a")) +
                               orEmpty(hit.ctx("a.loc." + axis + ".b")) +
                               orEmpty(hit.ctx("a.loc." + axis + ".c"));
    if (joined.empty())
        return "?";
    char text[32];
    std::snprintf(text, sizeof(text), "%.5f", std::strtod(joined.c_str(), nullptr));
    return text;
}

std::string lifecycleTitle(const collector::DecodedHit &hit) {
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

std::string mediaTitle(const collector::DecodedHit &hit) {
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

std::string locationTitle(const collector::DecodedHit &hit) {
    std::string title = "location " + coordinate(hit, "lat") + ", " + coordinate(hit, "lon");
    if (const auto poi = hit.ctx("a.loc.poi"))
        title += " in " + quoted(*poi) + " (" + orEmpty(hit.ctx("a.loc.dist")) + " m away)";
    else
        title += ", outside every point of interest";
    return title;
}

std::string shownName(const std::string &name) {
    return name.empty() ? "\"\"" : name;
}

void appendTree(std::string &out, const collector::ContextNode &node, const Palette &p,
                const std::string &indent) {
    size_t width = 0;
    for (const auto &child : node.children)
        if (child.second.hasValue)
            width = std::max(width, shownName(child.first).size());
    // Values first, then branches, so that a level's own pairs stay together.
    for (const auto &child : node.children) {
        if (!child.second.hasValue)
            continue;
        const std::string name = shownName(child.first);
        out += indent + p.key + name + p.reset + std::string(width - name.size(), ' ') + " = " +
               child.second.value + "\n";
    }
    for (const auto &child : node.children) {
        if (child.second.children.empty())
            continue;
        out += indent + p.branch + shownName(child.first) + "." + p.reset + "\n";
        appendTree(out, child.second, p, indent + "  ");
    }
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

HitKind kindOf(const collector::DecodedHit &hit) {
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

std::string headline(const collector::DecodedHit &hit) {
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

Palette::Palette(bool colour)
    : bold(colour ? "\033[1m" : ""), dim(colour ? "\033[2m" : ""), key(colour ? "\033[36m" : ""),
      branch(colour ? "\033[34m" : ""), good(colour ? "\033[32m" : ""),
      bad(colour ? "\033[1;31m" : ""), warn(colour ? "\033[33m" : ""),
      reset(colour ? "\033[0m" : ""), _colour(colour) {}

const char *Palette::forKind(HitKind kind) const {
    if (!_colour)
        return "";
    switch (kind) {
    case HitKind::State:
        return "\033[1;32m";
    case HitKind::Action:
        return "\033[1;33m";
    case HitKind::Location:
        return "\033[1;36m";
    case HitKind::Lifecycle:
        return "\033[1;35m";
    case HitKind::Media:
        return "\033[1;34m";
    case HitKind::Other:
        break;
    }
    return "\033[1m";
}

std::string renderHit(const collector::DecodedHit &hit, const Palette &p,
                      const std::string &indent) {
    std::string out;
    if (!hit.wellFormed)
        out += indent + p.bad + "MALFORMED: " + hit.error + p.reset + "\n";
    size_t width = 0;
    for (const auto &pair : hit.vars)
        width = std::max(width, shownName(pair.first).size());
    // What the hit is about first; the rest in wire order, which is the hash order of the
    // sender and says nothing.
    static const char *const kFirst[] = {"pageName", "pe", "pev2", "pev3"};
    std::vector<const std::pair<std::string, std::string> *> ordered;
    for (const char *first : kFirst)
        for (const auto &pair : hit.vars)
            if (pair.first == first)
                ordered.push_back(&pair);
    for (const auto &pair : hit.vars)
        if (std::find(std::begin(kFirst), std::end(kFirst), pair.first) == std::end(kFirst))
            ordered.push_back(&pair);
    for (const auto *pair : ordered) {
        const std::string name = shownName(pair->first);
        out += indent + p.key + name + p.reset + std::string(width - name.size(), ' ') + " = " +
               pair->second + "\n";
    }
    if (hit.hasContext) {
        out += indent + p.branch + "c." + p.reset + "\n";
        appendTree(out, hit.context, p, indent + "  ");
    }
    return out;
}

Receipts tally(const std::vector<collector::Hit> &hits) {
    Receipts receipts;
    std::set<std::string> seen;
    receipts.total = hits.size();
    for (const collector::Hit &hit : hits) {
        if (!seen.insert(hit.path + "?" + hit.rawQuery).second)
            continue;
        ++receipts.distinct;
        if (!hit.decoded.wellFormed)
            ++receipts.malformed;
        ++receipts.perKind[static_cast<int>(kindOf(hit.decoded))];
    }
    return receipts;
}

} // namespace keodemo
