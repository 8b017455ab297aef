// How the demo and the queue inspector name and lay out a hit: its kind from the markers the
// sender writes, a title that tells the report apart, and the nested context tree.
#include "HitView.h"

#include <gtest/gtest.h>

using collector::DecodedHit;
using collector::decodeHit;
using keodemo::headline;
using keodemo::HitKind;
using keodemo::kindOf;

namespace {

DecodedHit framed(const std::string &parameters) {
    return decodeHit("/b/ss/rs/0/BBN-4.0.0/s1", "AQB=1&ndh=1" + parameters + "&AQE=1");
}

} // namespace

TEST(HitViewKind, NoLinkEventIsAState) {
    EXPECT_EQ(HitKind::State, kindOf(framed("&pageName=Home")));
}

TEST(HitViewKind, ActionMarkerIsAnAction) {
    EXPECT_EQ(HitKind::Action, kindOf(framed("&pe=lnk_o&pev2=KEOACTION%3ABuy&pageName=App")));
}

TEST(HitViewKind, InternalMarkerNamesLifecycleLocationAndMedia) {
    EXPECT_EQ(HitKind::Lifecycle, kindOf(framed("&pe=lnk_o&c.&a.&internal=Lifecycle&.a&.c")));
    EXPECT_EQ(HitKind::Location, kindOf(framed("&pe=lnk_o&c.&a.&internal=Location&.a&.c")));
    // Media hits carry their own "pe" and no "pev2"; the marker still tells them.
    EXPECT_EQ(HitKind::Media, kindOf(framed("&pe=m_s&pev3=video&c.&a.&internal=VideoTracking"
                                            "&.a&.c")));
}

TEST(HitViewKind, UnknownLinkEventIsOther) {
    EXPECT_EQ(HitKind::Other, kindOf(framed("&pe=lnk_o&pev2=SOMETHING")));
    EXPECT_EQ(HitKind::Other, kindOf(framed("&c.&a.&internal=Beacon&.a&.c")));
}

TEST(HitViewHeadline, StateAndActionAreNamed) {
    EXPECT_EQ("state \"Home\"", headline(framed("&pageName=Home")));
    EXPECT_EQ("action \"Add to cart\"",
              headline(framed("&pe=lnk_o&pev2=KEOACTION%3AAdd%20to%20cart")));
}

TEST(HitViewHeadline, RelaunchShowsCountAndPreviousSession) {
    EXPECT_EQ("lifecycle launch #2, previous session 41 s",
              headline(framed("&c.&a.&internal=Lifecycle&LaunchEvent=LaunchEvent&Launches=2"
                              "&PrevSessionLength=41&.a&.c")));
    EXPECT_EQ("lifecycle install #1",
              headline(framed("&c.&a.&internal=Lifecycle&InstallEvent=InstallEvent&Launches=1"
                              "&.a&.c")));
}

TEST(HitViewHeadline, LocationJoinsThePiecesAndNamesThePoint) {
    const std::string pieces = "&c.&a.&internal=Location&loc.&acc=12&poi=Demo%20HQ&dist=41"
                               "&lat.&a=045.5&b=02&c=00&.lat&lon.&a=-073.5&b=67&c=00&.lon"
                               "&.loc&.a&.c";
    EXPECT_EQ("location 45.50200, -73.56700 in \"Demo HQ\" (41 m away)", headline(framed(pieces)));
}

TEST(HitViewHeadline, AdNamesItsContentAndTheOneShotFlags) {
    EXPECT_EQ("media ad \"Demo ad\" in \"Demo clip\", view",
              headline(framed("&pe=m_s&c.&a.&internal=VideoTracking&media.&name=Demo%20clip"
                              "&ad.&name=Demo%20ad&view=true&.ad&.media&.a&.c")));
}

TEST(HitViewRender, ContextNestsByLevelWithValuesBeforeBranches) {
    const DecodedHit hit =
        framed("&pageName=Cart&c.&shop.&cart.&items=1&value=19.90&.cart&name=Demo&.shop&.c");
    EXPECT_EQ("  pageName = Cart\n"
              "  c.\n"
              "    shop.\n"
              "      name = Demo\n"
              "      cart.\n"
              "        items = 1\n"
              "        value = 19.90\n",
              keodemo::renderHit(hit, keodemo::Palette(false), "  "));
}

TEST(HitViewRender, MalformedHitSaysSoFirst) {
    const DecodedHit hit = decodeHit("/b/ss/rs/0/BBN-4.0.0/s1", "pageName=Home");
    const std::string text = keodemo::renderHit(hit, keodemo::Palette(false), "");
    EXPECT_EQ(0u, text.find("MALFORMED: ")) << text;
}

namespace {

collector::Hit received(const std::string &query) {
    collector::Hit hit;
    hit.method = "GET";
    hit.path = "/b/ss/rs/0/BBN-4.0.0/s1";
    hit.rawQuery = query;
    hit.decoded = decodeHit(hit.path, hit.rawQuery);
    return hit;
}

} // namespace

TEST(HitViewTally, DuplicateDeliveryCountsOnce) {
    const collector::Hit home = received("AQB=1&ndh=1&pageName=Home&AQE=1");
    const keodemo::Receipts receipts = keodemo::tally({home, home});
    EXPECT_EQ(2u, receipts.total);
    EXPECT_EQ(1u, receipts.distinct);
    EXPECT_EQ(1, receipts.perKind[static_cast<int>(HitKind::State)]);
}

TEST(HitViewTally, HitsDifferingOnlyInQueryAreDistinct) {
    const keodemo::Receipts receipts =
        keodemo::tally({received("AQB=1&ndh=1&pageName=Home&AQE=1"),
                        received("AQB=1&ndh=1&pe=lnk_o&pev2=KEOACTION%3ABuy&AQE=1")});
    EXPECT_EQ(2u, receipts.distinct);
    EXPECT_EQ(1, receipts.perKind[static_cast<int>(HitKind::State)]);
    EXPECT_EQ(1, receipts.perKind[static_cast<int>(HitKind::Action)]);
}

TEST(HitViewTally, MalformedHitIsCounted) {
    const keodemo::Receipts receipts = keodemo::tally({received("pageName=Home")});
    EXPECT_EQ(1u, receipts.malformed);
}
