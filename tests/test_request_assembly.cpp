// The pieces of a hit URL and the keys added to every hit, as decoded by the collector.
#include "KEOAnalytics.h"
#include "KEOMobile.h"
#include "KEOStatic.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

#include <QRegExp>

#include <random>

namespace {

class RequestAssembly : public LoopbackTest {
protected:
    collector::Hit only() {
        const std::vector<collector::Hit> hits = waitForHits(1);
        return hits.empty() ? collector::Hit() : hits[0];
    }
};

} // namespace

TEST_F(RequestAssembly, HitHasPathMarkersAndDeviceKeys) {
    configure(false);
    desktop::setDisplaySize(QSize(720, 1280));
    desktop::setDeviceName("Q10");
    desktop::setOsVersion("10.3.1");
    desktop::setCarrierName("");
    KEOMobile::trackState("Home", {{"a.CarrierName", "mine"}});
    const collector::Hit hit = only();
    ASSERT_TRUE(hit.decoded.wellFormed) << hit.decoded.error;
    EXPECT_EQ(hit.decoded.reportSuites, "rsid1");
    EXPECT_EQ(hit.decoded.libraryVersion, "4.0.0");
    EXPECT_TRUE(QRegExp("[0-9]{1,8}").exactMatch(QString::fromStdString(hit.decoded.random)));
    EXPECT_TRUE(hit.decoded.hasLeadingMarkers);
    EXPECT_TRUE(hit.decoded.hasTrailingMarker);
    EXPECT_EQ(hit.rawQuery.substr(hit.rawQuery.size() - 9), "&.c&AQE=1");
    EXPECT_EQ(ctx(hit, "a.Resolution"), "720x1280");
    EXPECT_EQ(ctx(hit, "a.DeviceName"), "Q10");
    EXPECT_EQ(ctx(hit, "a.OSVersion"), "BB 10.3.1");
    EXPECT_EQ(ctx(hit, "a.CarrierName"), "unknown");
}

TEST_F(RequestAssembly, EveryHitCarriesCeTAndAid) {
    configure(false);
    KEOMobile::trackState("Home", {});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "ce"), "UTF-8");
    EXPECT_EQ(var(hit, "t").substr(0, 22), "00/00/0000 00:00:00 0 ");
    EXPECT_TRUE(QRegExp("[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}")
                    .exactMatch(QString::fromStdString(var(hit, "aid"))));
}

TEST_F(RequestAssembly, MissingCharsetSendsEmptyCe) {
    ASSERT_TRUE(server.start());
    dir.write("app/native/KEOMobileConfig.json",
              QString("{\"analytics\": {\"server\": \"%1\", \"rsids\": \"r\"}}")
                  .arg(QString::fromStdString(server.baseServer()))
                  .toUtf8());
    KEOMobile::trackState("Home", {});
    EXPECT_EQ(var(only(), "ce"), "");
}

TEST_F(RequestAssembly, OfflineTrackingOffSendsNoTs) {
    configure(false);
    KEOMobile::trackState("Home", {});
    EXPECT_EQ(var(only(), "ts"), "<missing>");
}

TEST_F(RequestAssembly, OfflineTrackingOnSendsTsOfTheMomentOfTracking) {
    configure(true);
    const long before = static_cast<long>(time(nullptr));
    KEOMobile::trackState("Home", {});
    const long ts = std::stol(var(only(), "ts"));
    EXPECT_GE(ts, before);
    EXPECT_LE(ts, before + 2);
}

TEST_F(RequestAssembly, EmptyUserIdentifierSendsNoVidAndLeavesTheCallersOwn) {
    configure(false);
    KEOAnalytics::trackInternal("X", {}, {{"vid", "from-caller"}});
    EXPECT_EQ(var(only(), "vid"), "from-caller");
}

TEST_F(RequestAssembly, UserIdentifierWinsOverTheCallersVid) {
    configure(false);
    KEOMobile::setUserIdentifier("user-7");
    KEOAnalytics::trackInternal("X", {}, {{"vid", "from-caller"}});
    EXPECT_EQ(var(only(), "vid"), "user-7");
}

TEST_F(RequestAssembly, PrivacyOptOutDoesNotStopHits) {
    configure(false);
    KEOMobile::setPrivacyStatus(KEOMobilePrivacyStatusOptOut);
    KEOMobile::trackState("Home", {});
    EXPECT_EQ(var(only(), "pageName"), "Home");
}

TEST_F(RequestAssembly, ReportSuitesAreEncodedAndServerTakenAsItStands) {
    ASSERT_TRUE(server.start());
    dir.write(
        "app/native/KEOMobileConfig.json",
        QString("{\"analytics\": {\"server\": \"%1\", \"rsids\": \"one,two\", \"ssl\": true}}")
            .arg(QString::fromStdString(server.baseServer()))
            .toUtf8());
    KEOMobile::setDebugLogging(true);
    const std::string out = captureStdout([] { KEOMobile::trackState("Home", {}); });
    const std::string expected =
        "KEOMobile Debug: Analytics -- Attempting to send request (https://" + server.baseServer() +
        "/b/ss/one%2Ctwo/0/BBN-4.0.0/s";
    EXPECT_EQ(out.rfind(expected, 0), 0u) << out;
}

TEST_F(RequestAssembly, DebugLineIsTheOnlyLineOfANormalHit) {
    configure(false);
    KEOMobile::setDebugLogging(true);
    std::string err;
    const std::string out =
        captureStdout([&] { err = captureStderr([] { KEOMobile::trackState("Home", {}); }); });
    only();
    EXPECT_EQ(libraryLines(err), "");
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << out;
}

// The stored query is serializeToQueryString of trackState's hashes, QHash order and all.
TEST_F(RequestAssembly, QueryIsTheSerializedTextOfTheHitsHashes) {
    configure(false);
    std::mt19937 random(20261122);
    const QString chars = QString::fromUtf8("aZ09.. %&=_-~\xC3\xA9\xF0\x9F\x98\x80");
    auto pick = [&](int most) {
        QString text(random() % 2 ? "" : nullptr); // empty or null
        for (int i = static_cast<int>(random() % (most + 1)); i > 0; --i)
            text += chars[static_cast<int>(random() % chars.size())];
        return text;
    };
    std::vector<std::string> expected;
    for (int round = 0; round < 150; ++round) {
        QHash<QString, QString> data, vars;
        for (int i = static_cast<int>(random() % 14); i > 0; --i)
            data[pick(9)] = pick(6);
        data.remove(pick(2));
        const QString state = "S" + pick(5);
        KEOMobile::trackState(state, data);
        vars["pageName"] = state;
        vars["ce"] = "UTF-8";
        vars["t"] = KEOStatic::timestampString();
        vars["aid"] = KEOStatic::getServerVisitorID();
        data["a.Resolution"] = KEOStatic::getResolution();
        data["a.DeviceName"] = KEOStatic::getPlatform();
        data["a.OSVersion"] = KEOStatic::getOperatingSystem();
        data["a.CarrierName"] = KEOStatic::getCarrier();
        expected.push_back("AQB=1&ndh=1" +
                           KEOStatic::serializeToQueryString(vars, data).toStdString() + "&AQE=1");
    }
    const std::vector<collector::Hit> hits = waitForHits(expected.size());
    for (size_t i = 0; i < hits.size() && i < expected.size(); ++i)
        EXPECT_EQ(hits[i].rawQuery, expected[i]) << "round " << i;
}
