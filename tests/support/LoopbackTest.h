#pragma once
// A test with its own working directory and a loopback collector that the library's
// configuration points at.
#include "Collector.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

class LoopbackTest : public ::testing::Test {
protected:
    // Starts the collector and writes a configuration for it, before any library call.
    void configure(bool offlineEnabled, const QString &extraAnalytics = QString());
    // Waits for n hits in all and returns them; fails the test when they don't come.
    std::vector<collector::Hit>
    waitForHits(size_t n, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Waits until the table holds exactly n rows (0: the queue is empty); false on time-out.
    bool waitForRows(int n, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        return waitFor([&] { return dir.hitRows() == n; }, timeout);
    }

    WorkDir dir;
    collector::Collector server;
};

// A hit as the collector would decode it from a URL, e.g. one still waiting in HITS.
collector::Hit hitOf(const std::string &url);
// A decoded value or "<missing>", so that expectations read as literals.
std::string var(const collector::Hit &hit, const std::string &key);
std::string ctx(const collector::Hit &hit, const std::string &dottedPath);
// Checks the hit's pairs ("key=value; ..."): a key with a dot is context data, the value "*" any
// value that is there, and values joined by '|' are each accepted.
void expectPairs(const collector::Hit &hit, const char *pairs);
// The "pageName" of each hit, in arrival order.
std::vector<std::string> pages(const std::vector<collector::Hit> &hits);
