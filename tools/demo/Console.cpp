#include "Console.h"

#include <cstdio>
#include <ctime>
#include <iostream>

namespace keodemo {

namespace {

std::string clockText(std::chrono::system_clock::time_point at) {
    using namespace std::chrono;
    const time_t seconds = system_clock::to_time_t(at);
    const long millis =
        static_cast<long>(duration_cast<milliseconds>(at.time_since_epoch()).count() % 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::snprintf(text, sizeof(text), "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min,
                  local.tm_sec, millis);
    return text;
}

} // namespace

Console::Console(bool colour, std::string prefix)
    : _colour(colour), _palette(colour), _prefix(std::move(prefix)) {}

void Console::step(int number, const std::string &title) {
    std::lock_guard<std::mutex> lock(_mutex);
    std::cout << "\n"
              << _palette.bold << _prefix << "== " << number << ". " << title
              << " ==" << _palette.reset << std::endl;
}

void Console::say(const std::string &text) {
    std::lock_guard<std::mutex> lock(_mutex);
    std::cout << _prefix << "   " << text << std::endl;
}

void Console::warn(const std::string &text) {
    std::lock_guard<std::mutex> lock(_mutex);
    std::cout << _prefix << "   " << _palette.warn << text << _palette.reset << std::endl;
}

void Console::raw(const std::string &text) {
    std::lock_guard<std::mutex> lock(_mutex);
    std::cout << text << std::flush;
}

void Console::hit(const collector::Hit &hit, size_t number) {
    const HitKind kind = kindOf(hit.decoded);
    std::string text = std::string("   ") + _palette.dim + "<- hit " + std::to_string(number) +
                       "  " + clockText(hit.receivedAt) + _palette.reset + "  " +
                       _palette.forKind(kind) + headline(hit.decoded) + _palette.reset + "\n";
    text += renderHit(hit.decoded, _palette, "        ");
    std::lock_guard<std::mutex> lock(_mutex);
    std::cout << text << std::flush;
}

} // namespace keodemo
