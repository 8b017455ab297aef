#include "LoopbackTest.h"

#include <QStringList>

void LoopbackTest::configure(bool offlineEnabled, const QString &extraAnalytics) {
    ASSERT_TRUE(server.start());
    dir.writeConfig(QString::fromStdString(server.baseServer()), offlineEnabled, extraAnalytics);
}

std::vector<collector::Hit> LoopbackTest::waitForHits(size_t n, std::chrono::milliseconds timeout) {
    EXPECT_TRUE(server.waitForHits(n, timeout)) << "received " << server.count() << " of " << n;
    return server.hits();
}

collector::Hit hitOf(const std::string &url) {
    collector::Hit hit;
    collector::splitUrl(url, hit.path, hit.rawQuery);
    hit.decoded = collector::decodeHit(hit.path, hit.rawQuery);
    return hit;
}

std::string var(const collector::Hit &hit, const std::string &key) {
    return hit.decoded.var(key).value_or("<missing>");
}

std::string ctx(const collector::Hit &hit, const std::string &dottedPath) {
    return hit.decoded.ctx(dottedPath).value_or("<missing>");
}

void expectPairs(const collector::Hit &hit, const char *pairs) {
    for (const QString &pair : QString(pairs).split("; ")) {
        SCOPED_TRACE(pair.toStdString());
        const std::string key = pair.section('=', 0, 0).toStdString();
        const QString value = pair.section('=', 1);
        const std::string got = key.find('.') != std::string::npos ? ctx(hit, key) : var(hit, key);
        EXPECT_TRUE(value == "*" ? got != "<missing>"
                                 : value.split('|').contains(QString::fromStdString(got)))
            << got;
    }
}

std::vector<std::string> pages(const std::vector<collector::Hit> &hits) {
    std::vector<std::string> names;
    for (const collector::Hit &hit : hits)
        names.push_back(var(hit, "pageName"));
    return names;
}
