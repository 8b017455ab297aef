#include "LoopbackTest.h"

#include <thread>

void LoopbackTest::configure(bool offlineEnabled, const QString &extraAnalytics) {
    ASSERT_TRUE(server.start());
    dir.writeConfig(QString::fromStdString(server.baseServer()), offlineEnabled, extraAnalytics);
}

std::vector<collector::Hit> LoopbackTest::waitForHits(size_t n, std::chrono::milliseconds timeout) {
    EXPECT_TRUE(server.waitForHits(n, timeout)) << "received " << server.count() << " of " << n;
    return server.hits();
}

bool LoopbackTest::waitForEmptyQueue(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (dir.hitRows() == 0)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

std::string var(const collector::Hit &hit, const std::string &key) {
    return hit.decoded.var(key).value_or("<missing>");
}

std::string ctx(const collector::Hit &hit, const std::string &dottedPath) {
    return hit.decoded.ctx(dottedPath).value_or("<missing>");
}
