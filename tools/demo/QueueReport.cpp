#include "QueueReport.h"

#include "HitView.h"

#include <cstdio>

namespace keodemo {

std::string formatAge(long long seconds) {
    if (seconds < 0)
        seconds = 0; // a clock set back makes a hit look newer than now
    char text[48];
    if (seconds < 60)
        std::snprintf(text, sizeof(text), "%llds", seconds);
    else if (seconds < 3600)
        std::snprintf(text, sizeof(text), "%lldm %02llds", seconds / 60, seconds % 60);
    else if (seconds < 86400)
        std::snprintf(text, sizeof(text), "%lldh %02lldm", seconds / 3600, seconds % 3600 / 60);
    else
        std::snprintf(text, sizeof(text), "%lldd %02lldh", seconds / 86400, seconds % 86400 / 3600);
    return text;
}

std::string formatQueue(const QueueSnapshot &snapshot, long long now, bool colour, bool urlsOnly) {
    const Palette p(colour);
    if (!snapshot.ok)
        return std::string(p.bad) + snapshot.error + p.reset + "\n";
    std::string out = std::string(p.bold) + snapshot.path + p.reset + ": ";
    const size_t count = snapshot.rows.size();
    if (count == 0) {
        out += std::string(p.good) + "empty" + p.reset;
    } else {
        out += std::string(p.warn) + std::to_string(count) + (count == 1 ? " hit" : " hits") +
               " waiting" + p.reset + ", oldest " +
               formatAge(now - snapshot.rows.front().timestamp);
    }
    out += " (" + std::to_string(snapshot.everQueued) + " queued since the table was made)\n";
    for (const QueuedHit &row : snapshot.rows) {
        if (urlsOnly) {
            out += std::to_string(row.id) + "\t" + row.url + "\n";
            continue;
        }
        const collector::DecodedHit hit = collector::decodeUrl(row.url);
        out += std::string(p.bold) + "ID " + std::to_string(row.id) + p.reset + "  age " +
               formatAge(now - row.timestamp) + "  " + p.forKind(kindOf(hit)) + headline(hit) +
               p.reset + "\n";
        out += renderHit(hit, p, "    ");
    }
    return out;
}

} // namespace keodemo
