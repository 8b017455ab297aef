// The collector's reading of the wire format: path pieces, framing, bracketed context, encoding,
// and its renderings. Everything here is pure decoding, no sockets.
#include "Collector.h"
#include "HitDecoder.h"

#include <gtest/gtest.h>

#include <random>

using collector::ContextNode;
using collector::DecodedHit;
using collector::decodeHit;

namespace {

const std::string kPath = "/b/ss/suite/0/BBN-4.0.0/s12345";

// A hit with the sender's framing around the given parameter text (which starts with "&").
DecodedHit framed(const std::string &parameters) {
    return decodeHit(kPath, "AQB=1&ndh=1" + parameters + "&AQE=1");
}

std::vector<std::string> childNames(const ContextNode &node) {
    std::vector<std::string> names;
    for (const auto &child : node.children)
        names.push_back(child.first);
    return names;
}

} // namespace

TEST(CollectorDecodePath, ReadsSuitesVersionAndRandom) {
    const DecodedHit hit = decodeHit("/b/ss/one%2Ctwo/0/BBN-4.0.0/s99999999", "AQB=1&ndh=1&AQE=1");
    EXPECT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.reportSuites, "one,two");
    EXPECT_EQ(hit.libraryVersion, "4.0.0");
    EXPECT_EQ(hit.random, "99999999");
}

TEST(CollectorDecodePath, EmptySuitesAreAllowed) {
    const DecodedHit hit = decodeHit("/b/ss//0/BBN-4.0.0/s0", "AQB=1&ndh=1&AQE=1");
    EXPECT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.reportSuites, "");
}

TEST(CollectorDecodePath, RejectsPathsTheSenderNeverWrites) {
    for (const char *path :
         {"/", "/b/ss/suite", "/b/ss/suite/0/BBN-4.0.0", "/b/ss/suite/0/BBN-/s1",
          "/b/ss/suite/0/BBN-4/s", "/b/ss/suite/0/BBN-4/s12a", "/b/ss/suite/0/BBN-4/s100000000",
          "/b/ss/suite/0/BBN-4/s007", "/b/ss/bad%zz/0/BBN-4/s1"}) {
        const DecodedHit hit = decodeHit(path, "AQB=1&ndh=1&AQE=1");
        EXPECT_FALSE(hit.wellFormed) << path;
        EXPECT_FALSE(hit.error.empty()) << path;
    }
}

TEST(CollectorDecodeFraming, MarkersAreRecognisedAndLeftOutOfVars) {
    const DecodedHit hit = framed("&pageName=Home&ce=");
    EXPECT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_TRUE(hit.hasLeadingMarkers);
    EXPECT_TRUE(hit.hasTrailingMarker);
    const std::vector<std::pair<std::string, std::string>> expected{{"pageName", "Home"},
                                                                    {"ce", ""}};
    EXPECT_EQ(hit.vars, expected);
    EXPECT_FALSE(hit.hasContext);
}

TEST(CollectorDecodeFraming, MissingMarkersMakeTheHitMalformed) {
    const DecodedHit noStart = decodeHit(kPath, "ndh=1&a=1&AQE=1");
    EXPECT_FALSE(noStart.hasLeadingMarkers);
    EXPECT_TRUE(noStart.hasTrailingMarker);
    EXPECT_FALSE(noStart.wellFormed);

    const DecodedHit noEnd = decodeHit(kPath, "AQB=1&ndh=1&a=1");
    EXPECT_TRUE(noEnd.hasLeadingMarkers);
    EXPECT_FALSE(noEnd.hasTrailingMarker);
    EXPECT_FALSE(noEnd.wellFormed);
    EXPECT_EQ(noEnd.var("a"), "1");

    EXPECT_FALSE(decodeHit(kPath, "").wellFormed);
}

TEST(CollectorDecodeContext, NestsBranchesAsTheExampleHit) {
    const DecodedHit hit =
        framed("&pageName=Home&c.&a.&OSVersion=10.0&.a&shop.&cart.&id=7&.cart&.shop&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.var("pageName"), "Home");
    EXPECT_TRUE(hit.hasContext);
    EXPECT_EQ(hit.ctx("a.OSVersion"), "10.0");
    EXPECT_EQ(hit.ctx("shop.cart.id"), "7");
    EXPECT_EQ(childNames(hit.context), (std::vector<std::string>{"a", "shop"}));
    EXPECT_EQ(hit.ctx("shop.cart"), std::nullopt);
    EXPECT_EQ(hit.ctx("shop.cart.missing"), std::nullopt);
}

TEST(CollectorDecodeContext, KeepsAnEmptyBranch) {
    const DecodedHit hit = framed("&c.&a.&.a&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    const ContextNode *a = hit.context.find("a");
    ASSERT_NE(a, nullptr);
    EXPECT_FALSE(a->hasValue);
    EXPECT_TRUE(a->children.empty());
}

TEST(CollectorDecodeContext, KeepsAnEmptyContextBlock) {
    const DecodedHit hit = framed("&c.&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_TRUE(hit.hasContext);
    EXPECT_TRUE(hit.context.children.empty());
}

TEST(CollectorDecodeContext, TopLevelPairInsideTheBlock) {
    const DecodedHit hit = framed("&c.&plan=gold&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx("plan"), "gold");
    EXPECT_EQ(hit.var("plan"), std::nullopt);
}

TEST(CollectorDecodeContext, PairWithTheEmptyName) {
    const DecodedHit hit = framed("&c.&=value&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx(""), "value");
}

TEST(CollectorDecodeContext, EmptyNamePairInsideABranch) {
    const DecodedHit hit = framed("&c.&a.&=1&.a&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx("a."), "1");
}

TEST(CollectorDecodeContext, LoneDotOpensThenClosesTheEmptyNamedBranch) {
    const DecodedHit hit = framed("&c.&x.&.&y=1&.&.x&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx("x..y"), "1");
}

TEST(CollectorDecodeContext, NodeWithValueAndBranch) {
    const DecodedHit hit = framed("&c.&a=1&a.&b=2&.a&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx("a"), "1");
    EXPECT_EQ(hit.ctx("a.b"), "2");
}

TEST(CollectorDecodeContext, FollowsDeepNesting) {
    std::string open;
    std::string close;
    std::string path;
    for (int i = 0; i < 200; ++i) {
        const std::string name = "n" + std::to_string(i);
        open += "&" + name + ".";
        close = "&." + name + close;
        path += name + ".";
    }
    const DecodedHit hit = framed("&c." + open + "&leaf=deep" + close + "&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx(path + "leaf"), "deep");
}

TEST(CollectorDecodeEncoding, PercentEscapesDecodeOnceAndPlusStaysPlus) {
    const DecodedHit hit = framed("&q=a+b%20c&odd=%26%3D%25%2541&c.&v=%26%3D%25%20x&.c");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.var("q"), "a+b c");
    EXPECT_EQ(hit.var("odd"), "&=%%41");
    EXPECT_EQ(hit.ctx("v"), "&=% x");
}

TEST(CollectorDecodeEncoding, Utf8BytesAndLowerCaseHex) {
    const DecodedHit hit = framed("&name=caf%C3%A9&k%2Fey=%e2%82%ac");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.var("name"), "caf\xC3\xA9");
    EXPECT_EQ(hit.var("k/ey"), "\xE2\x82\xAC");
}

TEST(CollectorDecodeGarbage, MalformedInputIsReportedNotFatal) {
    for (const char *parameters :
         {"&c.&a=1", "&c.&a.&.c", "&.a", "&c.&.a&.c", "&a.b", "&x.&.x", "&c.&.c&c.&.c",
          "&c.&.c&late=1", "&c.&a=1&a=2&.c", "&c.&a.&.a&a.&.a&.c", "&&a=1", "&a=%G1", "&a=%4",
          "&a==b", "&.a.", "&c.&..&.c", "&c.&a"}) {
        const DecodedHit hit = framed(parameters);
        EXPECT_FALSE(hit.wellFormed) << parameters;
        EXPECT_FALSE(hit.error.empty()) << parameters;
    }
}

TEST(CollectorDecodeGarbage, FirstProblemIsTheOneReported) {
    EXPECT_EQ(framed("&c.&a.&.c").error,
              "parameter 5 \".c\": closes a branch while \"a.\" is the innermost one open");
}

TEST(CollectorDecodeGarbage, StopsAtTheDepthCap) {
    std::string parameters = "&c.";
    for (size_t i = 0; i < collector::kMaxContextDepth + 10; ++i)
        parameters += "&n.";
    const DecodedHit hit = framed(parameters);
    EXPECT_FALSE(hit.wellFormed);
    EXPECT_NE(hit.error.find("nesting deeper than"), std::string::npos);
}

TEST(CollectorDecodeGarbage, RandomBytesNeverCrash) {
    std::mt19937 generator(42);
    const std::string alphabet = "&.=%ac1F+";
    for (int round = 0; round < 3000; ++round) {
        std::string query;
        const int length = static_cast<int>(generator() % 40);
        for (int i = 0; i < length; ++i)
            query += alphabet[generator() % alphabet.size()];
        const DecodedHit hit = decodeHit(kPath, query);
        EXPECT_EQ(hit.wellFormed, hit.error.empty()) << query;
        collector::Hit wrapped;
        wrapped.decoded = hit;
        EXPECT_FALSE(collector::toJsonLine(wrapped).empty());
    }
}

TEST(CollectorDecodeUrl, SplitsAWholeUrl) {
    const DecodedHit hit = collector::decodeUrl(
        "http://127.0.0.1:8080/b/ss/suite/0/BBN-4.0.0/s7?AQB=1&ndh=1&c.&plan=gold&.c&AQE=1");
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.random, "7");
    EXPECT_EQ(hit.ctx("plan"), "gold");
}

TEST(CollectorFormat, JsonLineEscapesAndRepairsText) {
    collector::Hit hit;
    hit.method = "GET";
    hit.path = "/p";
    hit.userAgent = "say \"hi\"\\ \x01";
    hit.decoded = framed("&v=%0A%C3%A9%FF&c.&a=1&.c");
    const std::string line = collector::toJsonLine(hit);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_NE(line.find("\"userAgent\":\"say \\\"hi\\\"\\\\ \\u0001\""), std::string::npos) << line;
    EXPECT_NE(line.find("\"vars\":[[\"v\",\"\\n\xC3\xA9\\ufffd\"]]"), std::string::npos) << line;
    EXPECT_NE(line.find("\"context\":{\"children\":{\"a\":{\"value\":\"1\"}}}"), std::string::npos)
        << line;
}

TEST(CollectorFormat, TextShowsPairsThenTheIndentedTree) {
    collector::Hit hit;
    hit.method = "GET";
    hit.path = kPath;
    hit.rawQuery = "q";
    hit.userAgent = "UA";
    hit.acceptLanguage = "en-GB";
    hit.decoded = framed("&pageName=Home&c.&shop.&cart.&id=7&.cart&.shop&=e&.c");
    EXPECT_EQ(collector::toText(hit), "GET /b/ss/suite/0/BBN-4.0.0/s12345?q\n"
                                      "  received: 1970-01-01T00:00:00.000Z  fault: none\n"
                                      "  User-Agent: UA\n"
                                      "  Accept-Language: en-GB\n"
                                      "  report suites: suite  version: 4.0.0  random: 12345\n"
                                      "  vars:\n"
                                      "    pageName = Home\n"
                                      "  c.\n"
                                      "    \"\" = e\n"
                                      "    shop.\n"
                                      "      cart.\n"
                                      "        id = 7\n");
}
