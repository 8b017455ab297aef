// The three tracking calls as they arrive at the collector: where the name lands, the
// markers in context data, and when "pe" and "pev2" appear.
#include "KEOAnalytics.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"

namespace {

class TrackingCalls : public LoopbackTest {
protected:
    void SetUp() override {
        configure(true);
        dir.writeDescriptor("Shop", "1.2");
    }
    collector::Hit only() {
        const std::vector<collector::Hit> hits = waitForHits(1);
        return hits.empty() ? collector::Hit() : hits[0];
    }
};

} // namespace

TEST_F(TrackingCalls, StateHitNamesThePageAndHasNoActionMarkers) {
    KEOMobile::trackState("Home", {{"plan", "gold"}});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "pageName"), "Home");
    EXPECT_EQ(var(hit, "pe"), "<missing>");
    EXPECT_EQ(var(hit, "pev2"), "<missing>");
    EXPECT_EQ(ctx(hit, "plan"), "gold");
    EXPECT_EQ(ctx(hit, "a.action"), "<missing>");
}

TEST_F(TrackingCalls, EmptyStateFallsBackToTheApplicationIdentifier) {
    KEOMobile::trackState("", {});
    EXPECT_EQ(var(only(), "pageName"), "Shop/1.2");
}

TEST_F(TrackingCalls, ActionHitCarriesItsMarkers) {
    KEOMobile::trackAction("Buy", {{"a.action", "caller's"}});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "pe"), "lnk_o");
    EXPECT_EQ(var(hit, "pev2"), "KEOACTION:Buy");
    EXPECT_EQ(var(hit, "pageName"), "Shop/1.2");
    EXPECT_EQ(ctx(hit, "a.action"), "Buy");
}

TEST_F(TrackingCalls, EmptyActionIsNoneInPev2AndWritesNoValue) {
    KEOMobile::trackAction("", {});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "pev2"), "KEOACTION:None");
    EXPECT_EQ(ctx(hit, "a.action"), "<missing>");
}

TEST_F(TrackingCalls, PlaceholdersInTheActionAreNotRescanned) {
    KEOMobile::trackAction("%1 and %2", {});
    EXPECT_EQ(var(only(), "pev2"), "KEOACTION:%1 and %2");
}

TEST_F(TrackingCalls, InternalHitWithoutVarsIsMarkedInternal) {
    KEOAnalytics::trackInternal("", {}, {});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "pe"), "lnk_o");
    EXPECT_EQ(var(hit, "pev2"), "KEOINTERNAL:None");
    EXPECT_EQ(var(hit, "pageName"), "Shop/1.2");
}

TEST_F(TrackingCalls, InternalHitWithVarsKeepsThemAndGetsNoMarkers) {
    KEOAnalytics::trackInternal("Media", {}, {{"pe", "ms_s"}, {"pageName", "mine"}});
    const collector::Hit hit = only();
    EXPECT_EQ(var(hit, "pe"), "ms_s");
    EXPECT_EQ(var(hit, "pev2"), "<missing>");
    EXPECT_EQ(var(hit, "pageName"), "Shop/1.2");
    EXPECT_EQ(ctx(hit, "a.internal"), "Media");
}

TEST_F(TrackingCalls, CallerHashesAreNotChanged) {
    QHash<QString, QString> data{{"k", "v"}};
    QHash<QString, QString> vars{{"x", "y"}};
    KEOAnalytics::trackInternal("Act", data, vars);
    EXPECT_EQ(data, (QHash<QString, QString>{{"k", "v"}}));
    EXPECT_EQ(vars, (QHash<QString, QString>{{"x", "y"}}));
    only();
}
