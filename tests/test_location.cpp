// Location hits: coordinates in three pieces, accuracy, the first containing point of
// interest, and the events that are refused.
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

namespace {

class Location : public LoopbackTest {
protected:
    collector::Hit track(double lat, double lon, double acc, const QString &poi = QString()) {
        configure(false, poi.isEmpty() ? QString() : QString("\"poi\": %1").arg(poi));
        bps_event_t *event = desktop::makeGeolocationEvent(lat, lon, acc);
        KEOMobile::trackLocation(event, {{"own", "kept"}});
        desktop::freeEvent(event);
        const std::vector<collector::Hit> hits = waitForHits(1);
        return hits.empty() ? collector::Hit() : hits[0];
    }
};

} // namespace

TEST_F(Location, PositiveLatitudeIsCutAfterTheFifthDecimal) {
    const collector::Hit hit = track(37.774929, -122.419416, 12.4);
    EXPECT_EQ(ctx(hit, "a.loc.lat.a"), "037.7");
    EXPECT_EQ(ctx(hit, "a.loc.lat.b"), "74");
    EXPECT_EQ(ctx(hit, "a.loc.lat.c"), "92");
    EXPECT_EQ(ctx(hit, "a.loc.lon.a"), "-122.4");
    EXPECT_EQ(ctx(hit, "a.loc.lon.b"), "19");
    EXPECT_EQ(ctx(hit, "a.loc.lon.c"), "41");
    EXPECT_EQ(ctx(hit, "a.loc.acc"), "12");
    EXPECT_EQ(ctx(hit, "a.internal"), "Location");
    EXPECT_EQ(var(hit, "pev2"), "KEOINTERNAL:Location");
    EXPECT_EQ(ctx(hit, "own"), "kept");
}

TEST_F(Location, SouthernAndEasternCoordinates) {
    const collector::Hit hit = track(-33.86882, 151.209296, 5);
    EXPECT_EQ(ctx(hit, "a.loc.lat.a"), "-033.8");
    EXPECT_EQ(ctx(hit, "a.loc.lat.b"), "68");
    EXPECT_EQ(ctx(hit, "a.loc.lat.c"), "82");
    EXPECT_EQ(ctx(hit, "a.loc.lon.a"), "151.2");
    EXPECT_EQ(ctx(hit, "a.loc.lon.b"), "09");
    EXPECT_EQ(ctx(hit, "a.loc.lon.c"), "29");
}

TEST_F(Location, ZeroKeepsItsLeadingZeros) {
    const collector::Hit hit = track(0, 0, 0);
    EXPECT_EQ(ctx(hit, "a.loc.lat.a"), "000.0");
    EXPECT_EQ(ctx(hit, "a.loc.lat.b"), "00");
    EXPECT_EQ(ctx(hit, "a.loc.lat.c"), "00");
    EXPECT_EQ(ctx(hit, "a.loc.poi"), "<missing>");
    EXPECT_EQ(ctx(hit, "a.loc.dist"), "<missing>");
}

TEST_F(Location, OneDegreeOfLongitudeAtTheEquatorIs111195Metres) {
    const collector::Hit hit = track(0, 1, 3, R"([["east", 0, 0, 111195]])");
    EXPECT_EQ(ctx(hit, "a.loc.poi"), "east");
    EXPECT_EQ(ctx(hit, "a.loc.dist"), "111195");
}

TEST_F(Location, PoleToPoleIs20015087Metres) {
    const collector::Hit hit = track(90, 0, 3, R"([["south", -90, 0, 30000000]])");
    EXPECT_EQ(ctx(hit, "a.loc.dist"), "20015087");
}

TEST_F(Location, JustOutsideTheRadiusIsNoMatch) {
    const collector::Hit hit = track(0, 1, 3, R"([["east", 0, 0, 111194]])");
    EXPECT_EQ(ctx(hit, "a.loc.poi"), "<missing>");
}

TEST_F(Location, FirstContainingPointWinsOverANearerOne) {
    const collector::Hit hit =
        track(0, 0.001, 3, R"([["far", 0, 1, 200000], ["near", 0, 0, 1000]])");
    EXPECT_EQ(ctx(hit, "a.loc.poi"), "far");
    EXPECT_EQ(ctx(hit, "a.loc.dist"), "111084");
}

TEST_F(Location, CentreOfAZeroRadiusPointMatchesAtDistanceZero) {
    const collector::Hit hit = track(45.5, -73.5, 3, R"([["spot", 45.5, -73.5, 0]])");
    EXPECT_EQ(ctx(hit, "a.loc.poi"), "spot");
    EXPECT_EQ(ctx(hit, "a.loc.dist"), "0");
}

TEST(LocationRefused, NullEventLogsAndSendsNothing) {
    WorkDir dir;
    const std::string err = captureStderr([] { KEOMobile::trackLocation(nullptr, {}); });
    EXPECT_EQ(err, "KEOMobile Error: Analytics - Unable to track location(null geo event).\n");
    EXPECT_EQ(dir.hitRows(), -1);
}

TEST(LocationRefused, EventOfAnotherDomainLogsAndSendsNothing) {
    WorkDir dir;
    bps_event_t *event = desktop::makeEvent(desktop::otherDomain(), 1);
    const std::string err = captureStderr([&] { KEOMobile::trackLocation(event, {}); });
    desktop::freeEvent(event);
    EXPECT_EQ(err, "KEOMobile Error: Analytics - Unable to track location(incorrect domain).\n");
    EXPECT_EQ(dir.hitRows(), -1);
}

TEST(LocationRefused, CancelAndErrorCodesLogAndSendNothing) {
    WorkDir dir;
    for (unsigned int code : {2u, 3u}) {
        bps_event_t *event = desktop::makeGeolocationEvent(1, 2, 3, code);
        const std::string err = captureStderr([&] { KEOMobile::trackLocation(event, {}); });
        desktop::freeEvent(event);
        EXPECT_EQ(err, "KEOMobile Error: Analytics - Unable to track location(incorrect code on "
                       "geo event).\n");
    }
    EXPECT_EQ(dir.hitRows(), -1);
}
