// The QML module as a QML file uses it, in a host of its own on the offscreen platform: the
// singleton's calls and settings, the rules that turn a JavaScript object into context data,
// and which pages of a SwipeView, a Loader, a disabled and a hidden item are reported.
#include "LoopbackTest.h"
#include "SelfProcess.h"

#include <cstdlib>

class QuickModule : public LoopbackTest {};

TEST_F(QuickModule, JavaScriptDataIsFlattenedAndOnlyShownPagesAreReported) {
    configure(true);
    // The build's module, or the one the package tests installed.
    const char *imports = std::getenv("KEO_QML_IMPORT_PATH");
    SelfProcess host({"QML2_IMPORT_PATH=" + std::string(imports ? imports : KEO_BUILD_QML_DIR),
                      "QT_QPA_PLATFORM=offscreen", "QT_QUICK_BACKEND=software"},
                     {KEO_QML_FILE}, QProcess::MergedChannels, KEO_QML_HOST);
    const std::vector<collector::Hit> hits = waitForHits(3);
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(var(hits[0], "pev2"), "KEOACTION:Data");
    EXPECT_EQ(pages(hits), (std::vector<std::string>{"", "Swiped", "Loaded"}));
    for (const collector::Hit &hit : {hits[0], hits[1]}) {
        EXPECT_EQ(ctx(hit, "text"), "a b");
        EXPECT_EQ(ctx(hit, "whole"), "3");
        EXPECT_EQ(ctx(hit, "real"), "-2.5");
        EXPECT_EQ(ctx(hit, "big"), "1e+21");
        EXPECT_EQ(ctx(hit, "yes"), "true");
        EXPECT_EQ(ctx(hit, "no"), "false");
        EXPECT_EQ(ctx(hit, "none"), "<missing>");
        EXPECT_EQ(ctx(hit, "gone"), "<missing>");
        EXPECT_EQ(ctx(hit, "shop.cart.items"), "3");
        EXPECT_EQ(ctx(hit, "shop.cart.owner"), "<missing>");
        EXPECT_EQ(ctx(hit, "list.0"), "x");
        EXPECT_EQ(ctx(hit, "list.1"), "7");
        EXPECT_EQ(ctx(hit, "list.length"), "<missing>");
        EXPECT_EQ(var(hit, "vid"), "qml-user");
    }
    EXPECT_EQ(ctx(hits[2], "from"), "loader");
    // Nothing else comes: not the pages beside the SwipeView's current one, not the disabled or
    // the hidden item, nor the loaded item again when its data changes while it is shown.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(server.count(), 3u);
    EXPECT_EQ(host.wait(0), -1); // still running: the test ends it
    const std::string output = host.output().toStdString();
    EXPECT_NE(output.find("read back: qml-user 2 true"), std::string::npos) << output;
    EXPECT_EQ(countOf(output, "KEOMobile Debug:"), 3u) << output;
    EXPECT_NE(dir.read("data/KEOPreferences.json").indexOf("optedout"), -1);
}
