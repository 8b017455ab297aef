// Location hits: coordinates in three pieces, accuracy, the first containing point of interest,
// and the events that are refused. Each case is tracked in a process of its own, whose hit stays
// in the table (nothing listens at the configured server) to be decoded here.
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

#include <cmath>

namespace {

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
        const char *expected; // lat.a|b|c|lon.a|b|c|acc|poi|dist
    };
    const Case cases[] = {
        {37.774929, -122.419416, 12.4, "", "037.7|74|92|-122.4|19|41|12|own|<missing>"},
        {-33.86882, 151.209296, 5, "", "-033.8|68|82|151.2|09|29|5|own|<missing>"},
        {0, 0, 0, "", "000.0|00|00|000.0|00|00|0|own|<missing>"},
        // 111194.93 m: inside a radius of 111195, outside one of 111194.
        {0, 1, 3, R"([["east", 0, 0, 111195]])", "000.0|00|00|001.0|00|00|3|east|111195"},
        {0, 1, 3, R"([["east", 0, 0, 111194]])", "000.0|00|00|001.0|00|00|3|own|<missing>"},
        {90, 0, 3, R"([["south", -90, 0, 3e7]])", "090.0|00|00|000.0|00|00|3|south|20015087"},
        {0, 0.001, 3, R"([["far", 0, 1, 2e5], ["near", 0, 0, 1e3]])",
         "000.0|00|00|000.0|01|00|3|far|111084"},
        {45.5, -73.5, 3, R"([["spot", 45.5, -73.5, 0]])", "045.5|00|00|-073.5|00|00|3|spot|0"},
        // A distance that is no number is inside no radius.
        {nan, 2, nan, R"([["everywhere", 0, 0, 1e12]])",
         "<missing>|  |na|002.0|00|00|nan|own|<missing>"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.expected);
        const collector::Hit hit = locate(c.lat, c.lon, c.acc, c.poi);
        ASSERT_TRUE(hit.decoded.wellFormed) << hit.decoded.error;
        std::string got;
        for (const char *key : {"lat.a", "lat.b", "lat.c", "lon.a", "lon.b", "lon.c", "acc", "poi"})
            got += ctx(hit, std::string("a.loc.") + key) + "|";
        EXPECT_EQ(got + ctx(hit, "a.loc.dist"), c.expected);
        EXPECT_EQ(ctx(hit, "a.internal") + " " + var(hit, "pev2") + " " + ctx(hit, "own"),
                  "Location KEOINTERNAL:Location kept");
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
