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
    // Waits until the table holds no row; false on time-out.
    bool waitForEmptyQueue(std::chrono::milliseconds timeout = std::chrono::seconds(10));

    WorkDir dir;
    collector::Collector server;
};

// A decoded value or "<missing>", so that expectations read as literals.
std::string var(const collector::Hit &hit, const std::string &key);
std::string ctx(const collector::Hit &hit, const std::string &dottedPath);
