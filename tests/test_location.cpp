// Location hits: coordinates in three pieces, accuracy, the first containing point of interest,
// and the events that are refused. Each case is tracked in a process of its own, whose hit stays
// in the table (nothing listens at the configured server) to be decoded here.
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

#include <cmath>

namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

// The hit of one position against a list of points of interest (JSON, may be empty).
collector::Hit locate(double lat, double lon, double acc, const char *poi) {
    WorkDir dir;
    dir.writeConfig("127.0.0.1:9", true, *poi ? QString("\"poi\": %1").arg(poi) : QString());
    inChild([&] {
        bps_event_t *event = desktop::makeGeolocationEvent(lat, lon, acc);
        KEOMobile::trackLocation(event, {{"own", "kept"}, {"a.loc.poi", "own"}});
        desktop::freeEvent(event);
    });
    const std::vector<std::string> urls = dir.queuedUrls();
    return urls.size() == 1 ? hitOf(urls[0]) : collector::Hit();
}

} // namespace

TEST(Location, PiecesAccuracyAndTheFirstContainingPoint) {
    const double nan = std::nan("");
    struct Case {
        double lat, lon, acc;
        const char *poi;
        Fields fields;
    };
    const Case cases[] = {
        {37.774929,
         -122.419416,
         12.4,
         "",
         {{"lat.a", "037.7"},
          {"lat.b", "74"},
          {"lat.c", "92"},
          {"lon.a", "-122.4"},
          {"lon.b", "19"},
          {"lon.c", "41"},
          {"acc", "12"},
          {"poi", "own"},
          {"dist", "<missing>"}}},
        {-33.86882,
         151.209296,
         5,
         "",
         {{"lat.a", "-033.8"},
          {"lat.b", "68"},
          {"lat.c", "82"},
          {"lon.a", "151.2"},
          {"lon.b", "09"},
          {"lon.c", "29"}}},
        {0, 0, 0, "", {{"lat.a", "000.0"}, {"lat.b", "00"}, {"lat.c", "00"}, {"acc", "0"}}},
        // 111194.93 m: inside a radius of 111195, outside one of 111194.
        {0, 1, 3, R"([["east", 0, 0, 111195]])", {{"poi", "east"}, {"dist", "111195"}}},
        {0, 1, 3, R"([["east", 0, 0, 111194]])", {{"poi", "own"}, {"dist", "<missing>"}}},
        {90, 0, 3, R"([["south", -90, 0, 30000000]])", {{"poi", "south"}, {"dist", "20015087"}}},
        {0,
         0.001,
         3,
         R"([["far", 0, 1, 200000], ["near", 0, 0, 1000]])",
         {{"poi", "far"}, {"dist", "111084"}}},
        {45.5, -73.5, 3, R"([["spot", 45.5, -73.5, 0]])", {{"poi", "spot"}, {"dist", "0"}}},
        // A distance that is no number is inside no radius.
        {nan,
         2,
         nan,
         R"([["everywhere", 0, 0, 1e12]])",
         {{"lat.a", "<missing>"},
          {"lat.b", "  "},
          {"lat.c", "na"},
          {"lon.a", "002.0"},
          {"acc", "nan"},
          {"poi", "own"}}}};
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.lat) + " " + std::to_string(c.lon) + " " + c.poi);
        const collector::Hit hit = locate(c.lat, c.lon, c.acc, c.poi);
        ASSERT_TRUE(hit.decoded.wellFormed) << hit.decoded.error;
        for (const auto &[key, value] : c.fields)
            EXPECT_EQ(ctx(hit, "a.loc." + key), value) << key;
        EXPECT_EQ(ctx(hit, "a.internal"), "Location");
        EXPECT_EQ(var(hit, "pev2"), "KEOINTERNAL:Location");
        EXPECT_EQ(ctx(hit, "own"), "kept");
    }
}

TEST(Location, RefusedEventsLogTheirReasonAndMakeNoHit) {
    WorkDir dir;
    bps_event_t *other = desktop::makeEvent(desktop::otherDomain(), 1);
    bps_event_t *cancel = desktop::makeGeolocationEvent(1, 2, 3, 2);
    bps_event_t *error = desktop::makeGeolocationEvent(1, 2, 3, 3);
    const std::string err = captureStderr([&] {
        for (bps_event_t *event : {static_cast<bps_event_t *>(nullptr), other, cancel, error})
            KEOMobile::trackLocation(event, {});
    });
    EXPECT_EQ(err, "KEOMobile Error: Analytics - Unable to track location(null geo event).\n"
                   "KEOMobile Error: Analytics - Unable to track location(incorrect domain).\n"
                   "KEOMobile Error: Analytics - Unable to track location(incorrect code on geo "
                   "event).\n"
                   "KEOMobile Error: Analytics - Unable to track location(incorrect code on geo "
                   "event).\n");
    EXPECT_EQ(dir.hitRows(), -1);
    for (bps_event_t *event : {other, cancel, error})
        desktop::freeEvent(event);
}
