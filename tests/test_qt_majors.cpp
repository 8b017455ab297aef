// The Qt 5 and the Qt 6 build send the same hits and write the same preferences: one scripted
// session (lifecycle, screens and actions with nested context data, a location, a media item with
// milestones) runs under a frozen clock in a copy of this program from each build. Within a
// level, order follows each build's own hash, so levels compare as sets; the random numbers and
// the visitor identifier compare as they stand.
#include "KEOMobile.h"
#include "LoopbackTest.h"
#include "MediaScript.h"
#include "SelfProcess.h"

#include <bb/cascades/Application>
#include <desktop/DesktopPlatform.h>

#include <QDir>
#include <QFile>
#include <QUuid>

#include <algorithm>

using namespace std::chrono;

// Each session makes the same identifier, so that the two builds' visitor identifiers compare:
// this program's own definition stands before Qt Core's for the library linked into it.
QUuid QUuid::createUuid() {
    return QUuid("{9a3f0c2e-7b14-4d5e-a6c8-0123456789ab}");
}

namespace {

const char *kMedia =
    "set|milestones|25,50,75;set|segmentByMilestones|1;"
    "open|Harbour timelapse|100|main|p1;play|Harbour timelapse|0;"
    "tick|Harbour timelapse|1|80;stop|Harbour timelapse|80;close|Harbour timelapse";

int runSession(int argc, char **argv) {
    bb::cascades::Application app(argc, argv);
    KEOMobile::collectLifecycleData();
    desktop::emitAwake();
    KEOMobile::setUserIdentifier("user-7");
    KEOMobile::setPrivacyStatus(KEOMobilePrivacyStatusOptOut);
    KEOMobile::trackState("Home", {{"shop.cart.items", "3"},
                                   {"shop.cart.total", "12.50"},
                                   {"shop.name", "Harbour & Co"},
                                   {"user..plan!", "gold"},
                                   {QString::fromUtf8("caf\xC3\xA9"), "open"}});
    KEOMobile::trackAction("Buy", {{"product.id", "42"}, {"product", "mug"}});
    bps_event_t *event = desktop::makeGeolocationEvent(45.5018, -73.5672, 10);
    KEOMobile::trackLocation(event, {{"trip.leg", "1"}});
    desktop::freeEvent(event);
    media_script::monitors = false;
    media_script::run(kMedia);
    if (!waitFor([] { return hitRowsAt("data/KEOAnalyticsCache.sqlite") == 0; }, seconds(30)))
        return 3;
    desktop::emitAsleep();
    return 0;
}

// The hit as the collector shows it, with its top-level pairs sorted (its context levels are
// sorted already) and without what differs from one sending to the next.
std::string normalized(collector::Hit hit) {
    hit.rawQuery.clear();
    hit.receivedAt = {};
    std::sort(hit.decoded.vars.begin(), hit.decoded.vars.end());
    return collector::toText(hit);
}

class QtMajors : public LoopbackTest {
protected:
    // The hits of one session of program, in this directory with a new data/, which keeps the
    // session's preferences.
    std::vector<std::string> session(const QString &program) {
        QDir(dir.file("data")).removeRecursively();
        EXPECT_TRUE(QDir().mkpath(dir.file("data")));
        server.clear();
        SelfProcess copy(
            SelfProcess::fakeClock("FAKETIME=2026-11-25 10:00:00",
                                   {"TZ=America/Montreal", "LANG=fr_CA.UTF-8", "KEO_SESSION=1"}),
            {}, QProcess::ForwardedErrorChannel, program);
        EXPECT_EQ(copy.wait(60000), 0) << program.toStdString();
        std::vector<std::string> hits;
        for (const collector::Hit &hit : server.hits())
            hits.push_back(normalized(hit));
        return hits;
    }
};

TEST_F(QtMajors, SendTheSameHitsAndWriteTheSamePreferences) {
    configure(true, R"("poi": [["Head office", 45.5017, -73.5673, 200]])");
    dir.writeDescriptor("Harbour", "2.1.0");
    const std::vector<std::string> own = session(QFile::symLinkTarget("/proc/self/exe"));
    const QByteArray preferences = dir.read("data/KEOPreferences.json");
    ASSERT_EQ(own.size(), 9u);
    // Qt 5's qrand sequence replaced the leading digits of both halves.
    EXPECT_NE(own[0].find(" aid = 7A3F0C2E7B144D5E-26C80123456789AB\n"), std::string::npos);
    EXPECT_NE(preferences.indexOf("\"MCCVID\": \"user-7\""), -1) << preferences.data();
#ifdef KEO_QT5_SESSION
    EXPECT_EQ(session(KEO_QT5_SESSION), own);
    EXPECT_EQ(dir.read("data/KEOPreferences.json"), preferences);
#else
    GTEST_SKIP() << "no Qt 5 build to compare with (KEOMOBILE_COMPARE_BUILD)";
#endif
}

} // namespace

int main(int argc, char **argv) {
    if (getenv("KEO_SESSION"))
        return runSession(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
