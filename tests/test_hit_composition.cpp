// Hits as they arrive at the collector: the URL's pieces, where each tracking call puts its
// name and markers, and the keys every hit gets from the device, the identity and the clock.
#include "KEOAnalytics.h"
#include "KEOMobile.h"
#include "LoopbackTest.h"

#include <desktop/DesktopPlatform.h>

#include <QRegularExpression>

namespace {

class HitComposition : public LoopbackTest {
protected:
    // A top-level pair, or with "c." a context value.
    static std::string field(const collector::Hit &hit, const std::string &key) {
        const std::string value = key.rfind("c.", 0) == 0 ? ctx(hit, key.substr(2)) : var(hit, key);
        return value == "<missing>" ? "-" : value;
    }
};

bool matches(const char *pattern, const std::string &text) {
    const QRegularExpression whole(QRegularExpression::anchoredPattern(pattern));
    return whole.match(QString::fromStdString(text)).hasMatch();
}

} // namespace

TEST_F(HitComposition, EachCallNamesItsPageAndMarkersAndEveryHitCarriesTheCommonKeys) {
    configure(true);
    dir.writeDescriptor("Shop", "1.2");
    desktop::setDisplaySize(QSize(720, 1280));
    desktop::setDeviceName("Q10");
    desktop::setOsVersion("10.3.1");
    desktop::setCarrierName("Rogers Wireless");
    desktop::setLocale("fr_CA");
    QHash<QString, QString> data{{"k", "v"}}, vars{{"vid", "from-caller"}};
    const long before = static_cast<long>(time(nullptr));
    KEOMobile::trackState("Home", {{"plan", "gold"}, {"a.CarrierName", "mine"}});
    KEOMobile::trackState("", {});
    KEOMobile::trackAction("Buy", {{"a.action", "caller's"}});
    KEOMobile::trackAction("", {});
    // The device's facts are read once per process: these reach no hit. The language is first
    // read by the worker, for its headers, by the time a hit has arrived.
    waitForHits(1);
    desktop::setDisplaySize(QSize(1, 1)), desktop::setDeviceName("Other");
    desktop::setOsVersion("11"), desktop::setCarrierName("Other"), desktop::setLocale("de_DE");
    KEOMobile::trackAction("%1 and %2", {});
    KEOAnalytics::trackInternal("", {}, {});
    KEOAnalytics::trackInternal("Media", data, {{"pe", "ms_s"}, {"pageName", "mine"}});
    KEOAnalytics::trackInternal("X", {}, vars);
    KEOMobile::setUserIdentifier("user-7");
    KEOAnalytics::trackInternal("X", {}, vars);
    EXPECT_EQ(data, (QHash<QString, QString>{{"k", "v"}}));
    EXPECT_EQ(vars, (QHash<QString, QString>{{"vid", "from-caller"}}));

    // pageName|pe|pev2|vid|c.a.action|c.a.internal|c.plan|c.k, "-" where missing.
    const char *expected[] = {"Home|-|-|-|-|-|gold|-",
                              "Shop/1.2|-|-|-|-|-|-|-",
                              "Shop/1.2|lnk_o|KEOACTION:Buy|-|Buy|-|-|-",
                              "Shop/1.2|lnk_o|KEOACTION:None|-|-|-|-|-",
                              "Shop/1.2|lnk_o|KEOACTION:%1 and %2|-|%1 and %2|-|-|-",
                              "Shop/1.2|lnk_o|KEOINTERNAL:None|-|-|-|-|-",
                              "Shop/1.2|ms_s|-|-|-|Media|-|v",
                              "Shop/1.2|-|-|from-caller|-|X|-|-",
                              "Shop/1.2|-|-|user-7|-|X|-|-"};
    const std::vector<collector::Hit> hits = waitForHits(std::size(expected));
    ASSERT_EQ(hits.size(), std::size(expected));
    for (size_t i = 0; i < hits.size(); ++i) {
        SCOPED_TRACE("hit " + std::to_string(i) + ": " + hits[i].rawQuery);
        const collector::Hit &hit = hits[i];
        std::string got;
        for (const char *key :
             {"pageName", "pe", "pev2", "vid", "c.a.action", "c.a.internal", "c.plan", "c.k"})
            got += (got.empty() ? "" : "|") + field(hit, key);
        EXPECT_EQ(got, expected[i]);
        EXPECT_EQ(field(hit, "c.a.Resolution") + " " + field(hit, "c.a.DeviceName") + " " +
                      field(hit, "c.a.OSVersion") + " " + field(hit, "c.a.CarrierName") + " " +
                      field(hit, "ce") + " " + hit.acceptLanguage,
                  "720x1280 Q10 BB 10.3.1 Rogers Wireless UTF-8 fr-ca");
        ASSERT_TRUE(hit.decoded.wellFormed) << hit.decoded.error;
        EXPECT_EQ(hit.decoded.reportSuites, "rsid1");
        EXPECT_EQ(hit.decoded.libraryVersion, "4.0.0");
        EXPECT_TRUE(matches("[1-9][0-9]{0,7}|0", hit.decoded.random));
        EXPECT_EQ(hit.rawQuery.substr(0, 12), "AQB=1&ndh=1&");
        EXPECT_EQ(hit.rawQuery.substr(hit.rawQuery.size() - 9), "&.c&AQE=1");
        EXPECT_EQ(var(hit, "t").substr(0, 22), "00/00/0000 00:00:00 0 ");
        EXPECT_TRUE(matches("[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}", var(hit, "aid")));
        EXPECT_EQ(var(hit, "aid"), var(hits[0], "aid"));
        EXPECT_LE(std::labs(std::stol(var(hit, "ts")) - before), 2);
    }
}

// The scheme, server and suites are fixed by the first hit; without a charset or offline tracking
// "ce" is empty and "ts" absent. The debug line, once switched on, is the only line a normal hit
// writes, beside the worker's one line on Qt's debug stream when it first starts.
TEST_F(HitComposition, DebugLineShowsTheBaseUrlWithEncodedSuitesAndIsTheOnlyLibraryLine) {
    ASSERT_TRUE(server.start());
    dir.write("app/native/KEOMobileConfig.json",
              QString(R"({"analytics": {"server": "%1", "rsids": "one,two", "ssl": true}})")
                  .arg(QString::fromStdString(server.baseServer()))
                  .toUtf8());
    std::string err;
    const std::string out = captureStdout([&] {
        err = captureStderr([] {
            EXPECT_FALSE(KEOMobile::getDebugLogging());
            KEOMobile::trackState("Quiet", {});
            KEOMobile::setDebugLogging(true);
            EXPECT_TRUE(KEOMobile::getDebugLogging());
            KEOMobile::trackState("Home", {});
            KEOMobile::trackState("Next", {});
        });
    });
    const std::string line = "KEOMobile Debug: Analytics -- Attempting to send request (https://" +
                             server.baseServer() + "/b/ss/one%2Ctwo/0/BBN-4.0.0/s";
    EXPECT_EQ(out.rfind(line, 0), 0u) << out;
    EXPECT_EQ(countOf(out, line), 2u) << out;
    EXPECT_EQ(countOf(out, "\n"), 2u) << out;
    const size_t open = out.find('('), close = out.find(")\n");
    const collector::Hit hit = hitOf(out.substr(open + 1, close - open - 1));
    EXPECT_EQ(var(hit, "pageName") + "|" + var(hit, "ce") + "|" + var(hit, "ts"),
              "Home||<missing>");
    EXPECT_EQ(libraryLines(err), "");
    EXPECT_EQ(countOf(err, "KEOAnalyticsWorker::KEOAnalyticsWorker()\n"), 1u) << err;
}

// The identifier is the caller's to change: a second one replaces the first, not extends it.
TEST_F(HitComposition, AUserIdentifierSetAgainReplacesTheFirstInTheHitsThatFollow) {
    configure(false);
    KEOMobile::setUserIdentifier("first");
    KEOMobile::trackState("One", {});
    KEOMobile::setUserIdentifier("second");
    KEOMobile::trackState("Two", {});
    const std::vector<collector::Hit> hits = waitForHits(2);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(var(hits[0], "pageName") + " " + var(hits[0], "vid"), "One first");
    EXPECT_EQ(var(hits[1], "pageName") + " " + var(hits[1], "vid"), "Two second");
    EXPECT_EQ(KEOMobile::getUserIdentifier(), QString("second"));
    EXPECT_NE(dir.read("data/KEOPreferences.json").indexOf("\"MCCVID\": \"second\""), -1);
}
