// The demo's one way to the screen. Hits arrive on the collector's threads, delegate calls on
// media monitor threads and narration on the main thread; every line goes through one lock so
// that a hit is never cut in half by another line.
#pragma once

#include "Collector.h"
#include "HitView.h"

#include <mutex>
#include <string>

namespace keodemo {

class Console {
public:
    // prefix starts every narration line (the second process marks its own). Owning thread.
    Console(bool colour, std::string prefix = std::string());

    const Palette &palette() const { return _palette; }
    bool colour() const { return _colour; }

    // A numbered step heading. Any thread.
    void step(int number, const std::string &title);
    // One line of narration, indented under the step. Any thread.
    void say(const std::string &text);
    // A line that tells the reader something is skipped or missing.
    void warn(const std::string &text);
    // Text as it stands, already laid out (ends with a newline). Any thread.
    void raw(const std::string &text);
    // A received hit with its arrival number: a title line, then its pairs and context tree.
    // Any thread, including the collector's server threads.
    void hit(const collector::Hit &hit, size_t number);

private:
    std::mutex _mutex;
    bool _colour;
    Palette _palette;
    std::string _prefix;
};

} // namespace keodemo
