#pragma once
// What a person does at a media player, the same for a QMediaPlayer and QML's MediaPlayer and
// Video, reached by name as the media tracker does; with clips made by Debian's GStreamer, video
// only, so that no sound device is needed.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QUrl>
#include <QVariant>

#include <functional>

namespace player_script {

// A Theora clip of `seconds` at 10 frames a second in the working directory; true when made.
inline bool makeClip(const QString &file, int seconds) {
    return QProcess::execute("sh", {"-c", QString("gst-launch-1.0 -q videotestsrc num-buffers=%1 ! "
                                                  "video/x-raw,framerate=10/1 ! theoraenc ! oggmux "
                                                  "! filesink location=%2")
                                              .arg(seconds * 10)
                                              .arg(file)}) == 0;
}

// Runs the event loop, where the player lives, until condition holds and what the player told
// by then has been handled; false after 20 s.
inline bool until(const std::function<bool()> &condition, int msecs = 20000) {
    QElapsedTimer clock;
    for (clock.start(); !condition(); QCoreApplication::processEvents(QEventLoop::AllEvents, 20))
        if (clock.hasExpired(msecs))
            return false;
    QCoreApplication::processEvents();
    return true;
}

// The run, with clip.ogv and next.ogv of 8 s made: clip.ogv played from the start, paused for 2 s
// at 2.3 s, sought from 4.4 s to 6.5 s while playing, played to its end and played again; at
// 0.5 s the source becomes next.ogv, which pauses at 2.5 s and then has none. False if the player
// never got somewhere.
inline bool run(QObject *player, const std::function<void(const QUrl &)> &setSource) {
    // Says which step the player never reached.
    const auto reached = [](bool done, const char *step) {
        if (!done)
            qWarning("the player never reached: %s", step);
        return done;
    };
    const auto position = [player] { return player->property("position").toLongLong(); };
    const auto at = [=](qint64 msecs) {
        return reached(until([=] { return position() >= msecs; }), "a position");
    };
    const auto call = [player](const char *method) { QMetaObject::invokeMethod(player, method); };
    const auto source = [&](const char *file) {
        setSource(QUrl::fromLocalFile(QDir::current().filePath(file))), call("play");
    };
    source("clip.ogv");
    bool ok = at(2300);
    call("pause");
    until([] { return false; }, 2000);
    call("play");
    ok = ok && at(4400);
    if (!QMetaObject::invokeMethod(player, "seek", Q_ARG(int, 6500)) &&    // MediaPlayer
        !QMetaObject::invokeMethod(player, "seek", Q_ARG(QVariant, 6500))) // Video
        player->setProperty("position", 6500);                             // QMediaPlayer
    ok =
        ok && reached(until([player] { // at the end it stops: StoppedState, 0 in both majors
                          const QVariant state = player->property("playbackState");
                          return (state.isValid() ? state : player->property("state")).toInt() == 0;
                      }),
                      "the end");
    call("play"); // after the end, from the start: once the player has left the end
    ok = ok && reached(until([=] { return position() < 4000; }), "the start again");
    ok = ok && at(500);
    source("next.ogv");
    // Half way between two milestones and paused first, so that a slow machine playing on
    // before it looks reaches no further one.
    ok = ok && at(2500);
    call("pause");
    setSource(QUrl());
    return ok;
}

} // namespace player_script
