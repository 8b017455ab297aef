// The hit's "t" text carries only the zone: minutes that local time lies behind UTC.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

static QString timestampIn(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
    return KEOStatic::timestampString();
}

TEST(Timestamp, EastOfUtcByTwoHoursIsMinus120) {
    EXPECT_EQ(timestampIn("XST-2"), QString("00/00/0000 00:00:00 0 -120"));
}

TEST(Timestamp, WestOfUtcByFiveHoursIs300) {
    EXPECT_EQ(timestampIn("EST5"), QString("00/00/0000 00:00:00 0 300"));
}

TEST(Timestamp, HalfHourZoneIsMinus330) {
    EXPECT_EQ(timestampIn("IST-5:30"), QString("00/00/0000 00:00:00 0 -330"));
}

TEST(Timestamp, UtcIsZero) {
    EXPECT_EQ(timestampIn("UTC0"), QString("00/00/0000 00:00:00 0 0"));
}

TEST(Timestamp, PartialMinuteIsCutTowardZero) {
    EXPECT_EQ(timestampIn("ABC-0:59:59"), QString("00/00/0000 00:00:00 0 -59"));
}

TEST(Timestamp, NamedZoneIncludesDaylightSavingOfTheMoment) {
    // Kolkata has no daylight saving: always 5:30 east.
    EXPECT_EQ(timestampIn("Asia/Kolkata"), QString("00/00/0000 00:00:00 0 -330"));
}

TEST(Timestamp, ZoneChangeWhileRunningIsNotNoticed) {
    timestampIn("EST5");
    EXPECT_EQ(timestampIn("XST-2"), QString("00/00/0000 00:00:00 0 300"));
}

TEST(TimeSince1970, MatchesTheWallClock) {
    const long before = static_cast<long>(time(nullptr));
    const long now = KEOStatic::timeSince1970();
    EXPECT_GE(now, before);
    EXPECT_LE(now, before + 1);
}
