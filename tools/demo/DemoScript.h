// The demo application: a short, realistic session played through the library's public
// interface only, one step per command word, so that a test can run any part of it.
#pragma once

#include "Collector.h"
#include "Console.h"
#include "HitView.h"

#include <chrono>
#include <string>
#include <vector>

namespace keodemo {

// The steps in the order a session has them; a later step needs the ones it names.
enum class Step { Launch, Screens, Location, Media, Offline, Background, Relaunch };
constexpr int kStepCount = 7;

// The step a word names ("launch", "screens", "location", "media", "offline", "background",
// "relaunch"); false for a word that names no step.
bool stepFromWord(const std::string &word, Step &step);

// The session timeout the demo configures, short so that a relaunch is seconds away.
constexpr int kDemoSessionTimeout = 2;

class DemoScript {
public:
    // console and server must outlive the script; server is the in-process collector the
    // configuration points at. dbPath is the application's hit table. Main thread only, and
    // only after the working directory is the demo's and the application object exists.
    DemoScript(Console &console, collector::Collector &server, std::string dbPath);

    // Runs one step and waits until the hits it made have left the table. Main thread.
    void run(Step step, const std::string &selfExecutable);

    // Hits of each kind the steps so far must have produced (media: at least one if ran).
    const int *expected() const { return _expected; }
    bool mediaRan() const { return _mediaRan; }
    // A step that could not do what it shows (a child that failed, a wait that ran out).
    bool troubled() const { return _troubled; }

    // Polls the table until no row is left; false on time-out. Any thread.
    bool waitForEmptyQueue(std::chrono::milliseconds timeout) const;

private:
    void launch();
    void screens();
    void location();
    void media();
    void offline();
    void background();
    void relaunch(const std::string &selfExecutable);
    void expect(HitKind kind, int count) { _expected[static_cast<int>(kind)] += count; }

    Console &_console;
    collector::Collector &_server;
    std::string _dbPath;
    int _expected[kHitKindCount] = {};
    bool _mediaRan = false;
    bool _troubled = false;
};

// The body of the relaunched application: a second process in the same working directory,
// launched after the session timed out. Returns its exit status. Main thread of that process.
int runSecondProcess(Console &console, const std::string &dbPath);

// Device facts of the demo phone; set before the first hit of a process. Main thread.
void setDemoDevice();

} // namespace keodemo
