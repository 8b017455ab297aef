#include "HitView.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <vector>

namespace keodemo {

namespace {

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
