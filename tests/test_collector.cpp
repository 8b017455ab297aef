// The collector's reading of the wire format where the library's own hits don't take it: odd but
// legal bracket forms, everything the sender never writes, the JSON rendering, and its ports.
// Its faults are proved through the library's delivery tests.
#include "Collector.h"
#include "HitDecoder.h"

#include <gtest/gtest.h>

#include <random>

using collector::decodeHit;

namespace {

const std::string kPath = "/b/ss/suite/0/BBN-4.0.0/s12345";

collector::DecodedHit framed(const std::string &parameters) {
    return decodeHit(kPath, "AQB=1&ndh=1" + parameters + "&AQE=1");
}

} // namespace

TEST(CollectorDecode, ReadsEveryLegalFormOnce) {
    const collector::DecodedHit path =
        decodeHit("/b/ss/one%2Ctwo/0/BBN-4.0.0/s99999999", "AQB=1&ndh=1&AQE=1");
    EXPECT_TRUE(path.wellFormed) << path.error;
    EXPECT_EQ(path.reportSuites + " " + path.libraryVersion + " " + path.random,
              "one,two 4.0.0 99999999");
    struct Case {
        std::string parameters, key, value; // key "c.x": context path x, else a pair
    };
    std::string open, close, deep;
    for (int i = 0; i < 200; ++i) {
        open += "&n" + std::to_string(i) + ".";
        close = "&.n" + std::to_string(i) + close;
        deep += "n" + std::to_string(i) + ".";
    }
    const Case cases[] = {
        {"&pageName=Home&c.&shop.&cart.&id=7&.cart&.shop&.c", "c.shop.cart.id", "7"},
        {"&c.&plan=gold&.c", "c.plan", "gold"},
        {"&c.&=value&.c", "c.", "value"},
        {"&c.&a.&=1&.a&.c", "c.a.", "1"},
        {"&c.&x.&.&y=1&.&.x&.c", "c.x..y", "1"},
        {"&c.&a=1&a.&b=2&.a&.c", "c.a", "1"},
        {"&c.&a=1&a.&b=2&.a&.c", "c.a.b", "2"},
        {"&c." + open + "&leaf=deep" + close + "&.c", "c." + deep + "leaf", "deep"},
        {"&q=a+b%20c&odd=%26%3D%25%2541", "odd", "&=%%41"},
        {"&q=a+b%20c", "q", "a+b c"},
        {"&name=caf%C3%A9&k%2Fey=%e2%82%ac", "k/ey", "\xE2\x82\xAC"},
        {"&c.&v=%26%3D%25%20x&.c", "c.v", "&=% x"}};
    for (const Case &c : cases) {
        const collector::DecodedHit hit = framed(c.parameters);
        EXPECT_TRUE(hit.wellFormed) << c.parameters << ": " << hit.error;
        EXPECT_EQ(c.key.rfind("c.", 0) == 0 ? hit.ctx(c.key.substr(2)) : hit.var(c.key), c.value)
            << c.parameters;
    }
    EXPECT_EQ(framed("&c.&a.&.a&.c").context.find("a")->children.size(), 0u);
    EXPECT_EQ(framed("&c.&a.&b=1&.a&.c").ctx("a"), std::nullopt);
}

TEST(CollectorDecode, ReportsWhatTheSenderNeverWritesAndNeverCrashes) {
    for (const char *path :
         {"/", "/b/ss/suite", "/b/ss/suite/0/BBN-4.0.0", "/b/ss/suite/0/BBN-/s1",
          "/b/ss/suite/0/BBN-4/s", "/b/ss/suite/0/BBN-4/s12a", "/b/ss/suite/0/BBN-4/s100000000",
          "/b/ss/suite/0/BBN-4/s007", "/b/ss/bad%zz/0/BBN-4/s1"})
        EXPECT_FALSE(decodeHit(path, "AQB=1&ndh=1&AQE=1").wellFormed) << path;
    for (const char *query : {"ndh=1&a=1&AQE=1", "AQB=1&ndh=1&a=1", ""})
        EXPECT_FALSE(decodeHit(kPath, query).wellFormed) << query;
    std::string tooDeep = "&c.";
    for (size_t i = 0; i < collector::kMaxContextDepth + 10; ++i)
        tooDeep += "&n.";
    for (const std::string parameters :
         {"&c.&a=1", "&c.&a.&.c", "&.a", "&c.&.a&.c", "&a.b", "&x.&.x", "&c.&.c&c.&.c",
          "&c.&.c&late=1", "&c.&a=1&a=2&.c", "&c.&a.&.a&a.&.a&.c", "&&a=1", "&a=%G1", "&a=%4",
          "&a==b", "&.a.", "&c.&..&.c", "&c.&a", tooDeep.c_str()}) {
        const collector::DecodedHit hit = framed(parameters);
        EXPECT_FALSE(hit.wellFormed) << parameters;
        EXPECT_FALSE(hit.error.empty()) << parameters;
    }
    EXPECT_EQ(framed("&c.&a.&.c").error,
              "parameter 5 \".c\": closes a branch while \"a.\" is the innermost one open");
    std::mt19937 random(42);
    const std::string alphabet = "&.=%ac1F+";
    for (int round = 0; round < 3000; ++round) {
        std::string query;
        for (int i = static_cast<int>(random() % 40); i > 0; --i)
            query += alphabet[random() % alphabet.size()];
        collector::Hit hit;
        hit.decoded = decodeHit(kPath, query);
        EXPECT_EQ(hit.decoded.wellFormed, hit.decoded.error.empty()) << query;
        EXPECT_FALSE(collector::toJsonLine(hit).empty());
    }
}

TEST(CollectorFormat, JsonLineEscapesAndRepairsText) {
    collector::Hit hit;
    hit.method = "GET";
    hit.path = "/p";
    hit.userAgent = "say \"hi\"\\ \x01";
    hit.decoded = framed("&v=%0A%C3%A9%FF&c.&a=1&.c");
    const std::string line = collector::toJsonLine(hit);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    for (const char *part : {"\"userAgent\":\"say \\\"hi\\\"\\\\ \\u0001\"",
                             "\"vars\":[[\"v\",\"\\n\xC3\xA9\\ufffd\"]]",
                             "\"context\":{\"children\":{\"a\":{\"value\":\"1\"}}}"})
        EXPECT_NE(line.find(part), std::string::npos) << line;
}

TEST(CollectorServer, AnExplicitPortIsBoundAgainButNeverShared) {
    int port = 0;
    {
        collector::Collector first;
        ASSERT_TRUE(first.start());
        port = first.port();
        collector::Collector second(port);
        EXPECT_FALSE(second.start());
    }
    collector::Collector again(port);
    ASSERT_TRUE(again.start());
    EXPECT_EQ(again.baseServer(), "127.0.0.1:" + std::to_string(port));
}
