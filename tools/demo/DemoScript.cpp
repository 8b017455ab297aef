#include "DemoScript.h"

#include "QueueReport.h"

#include <KEOMobile.h>
#include <desktop/DesktopPlatform.h>
#include <KEOMediaAnalytics.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <set>
#include <thread>

extern char **environ;

namespace keodemo {

namespace {

using namespace std::chrono_literals;

const char *kWords[kStepCount] = {"launch",  "screens",    "location", "media",
                                  "offline", "background", "relaunch"};
const char *kTitles[kStepCount] = {
    "Install launch: lifecycle measurement on, the application becomes active",
    "Screens and actions, with context data whose dotted keys nest",
    "Locations: one inside a point of interest, one outside all",
    "Media: a clip with milestones and segments, an ad break inside it",
    "Offline: the collector refuses, hits wait in the table, then all go out in order",
    "Background and back within the session timeout: no hit",
    "Relaunch: a second process after the session timed out",
};

void pause(std::chrono::milliseconds length) {
    std::this_thread::sleep_for(length);
}

QHash<QString, QString> data(std::initializer_list<std::pair<QString, QString>> pairs) {
    QHash<QString, QString> hash;
    for (const auto &pair : pairs)
        hash.insert(pair.first, pair.second);
    return hash;
}

// The delegate is a plain function, so what it reports to lives here, set by the media step.
struct MediaWatch {
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::string> closed;
    Console *console = nullptr;
};
MediaWatch mediaWatch;

// Tells what the library told it, then frees the snapshot, which it owns. Runs on the thread of
// the event: the application's for reports, the item's monitor thread for ticks.
void mediaDelegate(KEOMediaState *state) {
    char text[256];
    std::snprintf(
        text, sizeof(text), "delegate: %-9s %s%s  offset %.1f s, %.0f %%, played %.1f s%s%s",
        state->mediaEvent.toUtf8().constData(), state->ad ? "ad " : "",
        state->name.toUtf8().constData(), state->offset, state->percent, state->timePlayed,
        state->segment.isEmpty() ? "" : ", segment ", state->segment.toUtf8().constData());
    std::string line = text;
    if (state->complete)
        line += ", complete";
    const std::string name = state->name.toStdString();
    const bool closed = state->mediaEvent == "CLOSE";
    delete state;
    std::lock_guard<std::mutex> lock(mediaWatch.mutex);
    if (mediaWatch.console)
        mediaWatch.console->say(line);
    if (closed) {
        mediaWatch.closed.insert(name);
        mediaWatch.changed.notify_all();
    }
}

bool waitForClose(const std::string &name, std::chrono::seconds timeout) {
    std::unique_lock<std::mutex> lock(mediaWatch.mutex);
    return mediaWatch.changed.wait_for(lock, timeout,
                                       [&] { return mediaWatch.closed.count(name) > 0; });
}

} // namespace

bool stepFromWord(const std::string &word, Step &step) {
    for (int i = 0; i < kStepCount; ++i) {
        if (word == kWords[i]) {
            step = static_cast<Step>(i);
            return true;
        }
    }
    return false;
}

void setDemoDevice() {
    desktop::setDeviceName("KEO Demo Phone");
    desktop::setOsVersion("10.3.2");
    desktop::setCarrierName("Demo Mobile");
    desktop::setDisplaySize(QSize(720, 1280));
    desktop::setLocale("en_CA");
}

DemoScript::DemoScript(Console &console, collector::Collector &server, std::string dbPath)
    : _console(console), _server(server), _dbPath(std::move(dbPath)) {}

bool DemoScript::waitForEmptyQueue(std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (countQueue(_dbPath) <= 0)
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        pause(100ms);
    }
}

void DemoScript::run(Step step, const std::string &selfExecutable) {
    _console.step(static_cast<int>(step) + 1, kTitles[static_cast<int>(step)]);
    switch (step) {
    case Step::Launch:
        launch();
        break;
    case Step::Screens:
        screens();
        break;
    case Step::Location:
        location();
        break;
    case Step::Media:
        media();
        break;
    case Step::Offline:
        offline();
        break;
    case Step::Background:
        background();
        break;
    case Step::Relaunch:
        relaunch(selfExecutable);
        break;
    }
    // The next step starts on an empty table, so its hits read in the order it makes them.
    if (!waitForEmptyQueue(15s)) {
        _console.warn("hits still wait in the table after 15 s");
        _troubled = true;
    }
}

void DemoScript::launch() {
    _console.say("KEOMobile::collectLifecycleData(), then the application object emits awake()");
    KEOMobile::collectLifecycleData();
    desktop::emitAwake();
    expect(HitKind::Lifecycle, 1);
}

void DemoScript::screens() {
    _console.say("the visitor is known to the application as \"demo-user-7\"");
    KEOMobile::setUserIdentifier("demo-user-7");
    _console.say("trackState(\"Home\") with shop.cart.items=0 and user.segment=new");
    KEOMobile::trackState("Home", data({{"shop.cart.items", "0"}, {"user.segment", "new"}}));
    pause(300ms);
    _console.say("trackState(\"Product\") with product.id=42 and product.category=books");
    KEOMobile::trackState("Product", data({{"product.id", "42"}, {"product.category", "books"}}));
    pause(300ms);
    _console.say("trackAction(\"Add to cart\") with product.id=42 and shop.cart.items=1");
    KEOMobile::trackAction("Add to cart", data({{"product.id", "42"}, {"shop.cart.items", "1"}}));
    pause(300ms);
    _console.say("trackState(\"Cart\") with shop.cart.items=1 and shop.cart.value=19.90");
    KEOMobile::trackState("Cart", data({{"shop.cart.items", "1"}, {"shop.cart.value", "19.90"}}));
    pause(300ms);
    _console.say("trackAction(\"Checkout\") with shop.cart.value=19.90 and payment.method=card");
    KEOMobile::trackAction("Checkout",
                           data({{"shop.cart.value", "19.90"}, {"payment.method", "card"}}));
    expect(HitKind::State, 3);
    expect(HitKind::Action, 2);
}

void DemoScript::location() {
    _console.say("a position about 40 m from \"Demo HQ\" (radius 200 m), accuracy 12.4 m");
    bps_event_t *inside = desktop::makeGeolocationEvent(45.5020, -73.5670, 12.4);
    KEOMobile::trackLocation(inside, data({{"map.screen", "stores"}}));
    desktop::freeEvent(inside);
    pause(300ms);
    _console.say("a position far from both points of interest, accuracy 30 m");
    bps_event_t *outside = desktop::makeGeolocationEvent(48.858370, 2.294481, 30.0);
    KEOMobile::trackLocation(outside, data({{"map.screen", "stores"}}));
    desktop::freeEvent(outside);
    expect(HitKind::Location, 2);
}

void DemoScript::media() {
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    {
        std::lock_guard<std::mutex> lock(mediaWatch.mutex);
        mediaWatch.console = &_console;
        mediaWatch.closed.clear();
    }
    media->channel = QString("Demo channel");
    media->trackMilestones = QString("25,50,75");
    media->segmentByMilestones = true;
    media->adTrackSeconds = 0;
    media->adTrackMilestones = QString("50");
    media->mediaMeasurementDelegate = mediaDelegate;
    _mediaRan = true;

    _console.say("open \"Demo clip\" (6 s) on \"Demo player\"; milestones 25,50,75 %, segments by "
                 "milestone; play from 0");
    media->open("Demo clip", 6.0, "Demo player", "player-1");
    media->play("Demo clip", 0.0);
    pause(2200ms);
    _console.say("ad break: stop the clip, open \"Demo ad\" (2 s) inside it, play the ad");
    media->stop("Demo clip", -1.0);
    media->openAd("Demo ad", 2.0, "Demo player", "Demo clip", "mid-roll", 1.0, "2.50");
    media->play("Demo ad", 0.0);
    _console.say("the monitor ticks the ad to its end");
    if (!waitForClose("Demo ad", 15s)) {
        _console.warn("the ad did not reach its end within 15 s");
        _troubled = true;
    }
    _console.say("play the clip again where it stopped; the monitor ticks it to its end");
    media->play("Demo clip", -1.0);
    if (!waitForClose("Demo clip", 20s)) {
        _console.warn("the clip did not reach its end within 20 s");
        _troubled = true;
    }
    // A monitor thread sees its item closed within one tick; let both end before going on.
    pause(1200ms);
    media->mediaMeasurementDelegate = nullptr;
    std::lock_guard<std::mutex> lock(mediaWatch.mutex);
    mediaWatch.console = nullptr;
}

void DemoScript::offline() {
    const size_t before = _server.count();
    _console.say("the collector goes away: every connection is refused");
    _server.setFault(collector::Fault::Refuse);
    _console.say("trackState(\"Drafts\"), trackAction(\"Save draft\"), trackState(\"Outbox\")");
    KEOMobile::trackState("Drafts", data({{"net.state", "offline"}}));
    KEOMobile::trackAction("Save draft", data({{"draft.words", "120"}, {"net.state", "offline"}}));
    KEOMobile::trackState("Outbox", data({{"net.state", "offline"}, {"outbox.items", "1"}}));
    expect(HitKind::State, 2);
    expect(HitKind::Action, 1);
    // The first send is refused at once; the error line above is the library telling so.
    pause(1500ms);
    const QueueSnapshot waiting = readQueue(_dbPath);
    const long long now = static_cast<long long>(std::time(nullptr));
    _console.say(std::to_string(waiting.rows.size()) +
                 " rows wait in HITS (what keo-queue shows):");
    for (const QueuedHit &row : waiting.rows) {
        const collector::DecodedHit hit = collector::decodeUrl(row.url);
        _console.say("  ID " + std::to_string(row.id) + "  age " + formatAge(now - row.timestamp) +
                     "  " + headline(hit));
    }
    _console.say("the collector is back; the library retries a refused hit after a fixed "
                 "30-second pause, so this takes up to half a minute");
    _server.setFault(collector::Fault::None);
    const auto started = std::chrono::steady_clock::now();
    int shown = 0;
    while (!_server.waitForHits(before + 3, 1s)) {
        const auto waited = std::chrono::duration_cast<std::chrono::seconds>(
                                std::chrono::steady_clock::now() - started)
                                .count();
        if (waited >= 45) {
            _console.warn("the waiting hits did not arrive within 45 s");
            _troubled = true;
            return;
        }
        if (waited / 10 > shown) {
            shown = static_cast<int>(waited / 10);
            _console.say("... " + std::to_string(waited) + " s");
        }
    }
}

void DemoScript::background() {
    const long long queuedBefore = readQueue(_dbPath).everQueued;
    _console.say("asleep(): the user switches to another application");
    desktop::emitAsleep();
    pause(500ms);
    _console.say("awake() half a second later, within the " + std::to_string(kDemoSessionTimeout) +
                 "-second session timeout");
    desktop::emitAwake();
    const long long queuedAfter = readQueue(_dbPath).everQueued;
    if (queuedAfter == queuedBefore) {
        _console.say("no hit: the session goes on");
    } else {
        _console.warn("unexpected: the return made " + std::to_string(queuedAfter - queuedBefore) +
                      " hit(s)");
        _troubled = true;
    }
    _console.say("asleep(): the user leaves the application");
    desktop::emitAsleep();
}

void DemoScript::relaunch(const std::string &selfExecutable) {
    const int wait = kDemoSessionTimeout + 2;
    _console.say("waiting " + std::to_string(wait) + " s, longer than the session timeout");
    pause(std::chrono::seconds(wait));
    _console.say("starting the application again as a second process in the same directory");
    const std::string colourFlag = _console.colour() ? "--colour" : "--plain";
    std::vector<char *> argv = {const_cast<char *>(selfExecutable.c_str()),
                                const_cast<char *>("--second-process"),
                                const_cast<char *>(colourFlag.c_str()), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, selfExecutable.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
        _console.warn("could not start " + selfExecutable);
        _troubled = true;
        return;
    }
    expect(HitKind::Lifecycle, 1);
    expect(HitKind::State, 1);
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + 40s;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            _console.warn("the second process did not end within 40 s; stopping it");
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            _troubled = true;
            return;
        }
        pause(100ms);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        _console.warn("the second process failed");
        _troubled = true;
    }
}

int runSecondProcess(Console &console, const std::string &dbPath) {
    setDemoDevice();
    console.say("collectLifecycleData(), then awake(): a new launch, with the length of the "
                "session before");
    KEOMobile::collectLifecycleData();
    desktop::emitAwake();
    console.say("trackState(\"Home\") with user.returning=true");
    KEOMobile::trackState("Home", data({{"user.returning", "true"}}));
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (countQueue(dbPath) > 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            console.warn("hits still wait in the table after 30 s");
            return 1;
        }
        pause(100ms);
    }
    console.say("all hits of this process went out; asleep() and exit");
    desktop::emitAsleep();
    return 0;
}

} // namespace keodemo
