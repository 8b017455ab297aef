// The hit's "t" text carries only the zone: the minutes that local time lies behind UTC,
// daylight saving included, fixed at the first hit of the process.
#include "KEOStatic.h"
#include "WorkDir.h"

static QString timestampIn(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
    return KEOStatic::timestampString();
}

TEST(Timestamp, MinutesBehindUtcCutTowardZeroAndFixedAtTheFirstHit) {
    // clang-format off
    const std::pair<const char *, const char *> cases[] = {
        {"XST-2", "-120"}, {"EST5", "300"}, {"IST-5:30", "-330"}, {"UTC0", "0"},
        {"ABC-0:59:59", "-59"}, {"ABC0:59:59", "59"},
        // Daylight saving all year round: an hour less behind.
        {"EST5EDT,0/0,J365/25", "240"}, {"AEST-10AEDT,0/0,J365/25", "-660"}};
    // clang-format on
    for (const auto &[zone, minutes] : cases)
        inChild([&] {
            EXPECT_EQ(timestampIn(zone), QString("00/00/0000 00:00:00 0 ") + minutes) << zone;
            // A later change of zone is not noticed.
            EXPECT_EQ(timestampIn("XST-7"), QString("00/00/0000 00:00:00 0 ") + minutes);
        });
}
