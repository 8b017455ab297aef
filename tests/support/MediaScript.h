#pragma once
// Media scripts: what a player, the monitor and the application do to the media singleton, one
// report per ';' or line, fields split by '|'; numbers as strtod reads them (nan, inf, 1e999).
// The media tests and the media fuzz target speak this one language:
//   open|name|length|playerName|playerID    ad|name|length|playerName|parent|pod|position|CPM
//   start|name|offset (play(): the engine's run and, while `monitors`, the monitor)
//   play|name|offset (the run)
//   stop|click|complete|name|offset   close|name   track|name|key|value   set|setting|value
//   tick|name|from|to   a monitor tick at each whole second from `from` to `to` (at most 100)
//   event|name|type|offset|segmentNum|segment
//   delegate|EVENT|report  from now on the delegate makes the report (on its snapshot's own item
//                          if it names none) for each snapshot named EVENT, or any if empty
#include "KEOMediaAnalytics.h"
#include "KEOMediaItem.h"

#include <QSet>
#include <QStringList>

#include <climits>
#include <cstdlib>
#include <map>
#include <mutex>
#include <thread>

namespace media_script {

inline std::mutex seenMutex;
inline QStringList seen;     // every snapshot the delegate received, as describe() wrote it
inline QSet<QString> opened; // every simplified name that an open or ad report named
// The delegate's own report: made and changed only on the thread that loaded the program, which
// runs the scripts, so monitor threads never touch it.
inline const std::thread::id scriptThread = std::this_thread::get_id();
inline QString reactionEvent, reaction;
inline bool reacting = false;
inline bool monitors = true; // false: start is play, and the script's ticks stand for a monitor

inline void report(const QStringList &f);

// "name EVENT offset=N", then the fields that differ from a plain snapshot's, as key=value under
// the names that the hits' keys give them: milestone, offsetMilestone, segmentNum and segment,
// timePlayed, length (when not positive), complete, clicked, eventFirstTime (when false), ad.
inline QString describe(const KEOMediaState &s) {
    QStringList f{s.name + ' ' + s.mediaEvent, "offset=" + QString::number(s.offset)};
    if (s.mediaEvent == "MILESTONE")
        f << "milestone=" + QString::number(s.milestone);
    if (s.mediaEvent == "OFFSET_MILESTONE")
        f << "offsetMilestone=" + QString::number(s.offsetMilestone);
    if (!s.segment.isEmpty())
        f << QString("segmentNum=%1 segment=%2").arg(s.segmentNum).arg(s.segment);
    if (s.timePlayed != 0)
        f << "timePlayed=" + QString::number(s.timePlayed);
    if (!(s.length > 0))
        f << "length=" + QString::number(s.length);
    const std::pair<bool, const char *> flags[] = {{s.complete, "complete=true"},
                                                   {s.clicked, "clicked=true"},
                                                   {!s.eventFirstTime, "eventFirstTime=false"},
                                                   {s.ad, "ad=true"}};
    for (const auto &[set, text] : flags)
        if (set)
            f << text;
    return f.join(' ');
}

// The delegate: records the snapshot and frees it (it owns it), then makes its own report.
inline void onEvent(KEOMediaState *state) {
    const QString name = state->name, event = state->mediaEvent;
    {
        std::lock_guard<std::mutex> guard(seenMutex);
        seen << describe(*state);
    }
    delete state;
    if (std::this_thread::get_id() != scriptThread || reaction.isEmpty() || reacting ||
        !(reactionEvent.isEmpty() || reactionEvent == event))
        return;
    QStringList fields = reaction.split('|') << QString();
    fields[1] = fields[1].isEmpty() ? name : fields[1];
    reacting = true;
    report(fields);
    reacting = false;
}

inline double number(const QString &text) {
    return std::strtod(text.toUtf8().constData(), nullptr);
}
// Saturated, where a cast of a value out of range would be undefined.
inline int integer(const QString &text) {
    const long long value = std::strtoll(text.toUtf8().constData(), nullptr, 10);
    return static_cast<int>(value < INT_MIN ? INT_MIN : value > INT_MAX ? INT_MAX : value);
}

using M = KEOMediaAnalytics *;
using V = const QString &;
// One report, its fields split; on the scripts' thread, or inside the delegate on it.
inline void report(const QStringList &f) {
    M m = KEOMediaAnalytics::sharedInstance();
    const QString op = f.value(0), name = f.value(1);
    const double at = number(f.value(2)), to = f.size() > 3 ? number(f.value(3)) : at;
    // Built once: settings are assigned at every fuzz input.
    static const std::map<QString, void (*)(M, V)> settings = {
        {"channel", [](M m, V v) { m->channel = v; }},
        {"threshold", [](M m, V v) { m->completeCloseOffsetThreshold = number(v); }},
        {"delegate",
         [](M m, V v) { m->mediaMeasurementDelegate = integer(v) ? onEvent : nullptr; }},
        {"seconds", [](M m, V v) { m->trackSeconds = integer(v); }},
        {"milestones", [](M m, V v) { m->trackMilestones = v; }},
        {"segmentByMilestones", [](M m, V v) { m->segmentByMilestones = integer(v); }},
        {"offsetMilestones", [](M m, V v) { m->trackOffsetMilestones = v; }},
        {"segmentByOffsetMilestones", [](M m, V v) { m->segmentByOffsetMilestones = integer(v); }},
        {"adSeconds", [](M m, V v) { m->adTrackSeconds = integer(v); }},
        {"adMilestones", [](M m, V v) { m->adTrackMilestones = v; }},
        {"adSegmentByMilestones", [](M m, V v) { m->adSegmentByMilestones = integer(v); }},
        {"adOffsetMilestones", [](M m, V v) { m->adTrackOffsetMilestones = v; }},
        {"adSegmentByOffsetMilestones",
         [](M m, V v) { m->adSegmentByOffsetMilestones = integer(v); }}};
    if (op == "open" || op == "ad")
        opened.insert(name.simplified());
    if (op == "open")
        m->open(name, at, f.value(3), f.value(4));
    else if (op == "ad")
        m->openAd(name, at, f.value(3), f.value(4), f.value(5), number(f.value(6)), f.value(7));
    else if (op == "start" && monitors)
        m->play(name, at);
    else if (op == "play" || op == "start")
        m->playerEvent(name, KEOMediaEventTypePlay, {}, at, 0, QString());
    else if (op == "stop")
        m->stop(name, at);
    else if (op == "click")
        m->click(name, at);
    else if (op == "complete")
        m->complete(name, at);
    else if (op == "close")
        m->close(name);
    else if (op == "track")
        m->track(name, f.size() > 2 ? QHash<QString, QString>{{f[2], f.value(3)}}
                                    : QHash<QString, QString>());
    else if (op == "tick")
        for (int n = 0; n == 0 || (at + n <= to && n < 100); n++)
            m->playerEvent(name, KEOMediaEventTypeMonitor, {}, at + n, 0, QString());
    else if (op == "event") // 0 to 7, the type's range: every type known, and the unassigned 6
        m->playerEvent(name, static_cast<KEOMediaEventType>(integer(f.value(2)) & 7), {},
                       number(f.value(3)), static_cast<unsigned>(integer(f.value(4))), f.value(5));
    else if (op == "delegate")
        reactionEvent = name, reaction = f.mid(2).join('|');
    else if (op == "set" && settings.count(name))
        settings.at(name)(m, f.value(2));
}

inline void run(const QString &script) {
    for (const QString &line : QString(script).replace('\n', ';').split(';'))
        report(line.split('|'));
}

} // namespace media_script
