// The context tree and its bracket text, checked against literal texts where the order is
// fixed (one key per level) and against the collector's decoder where it follows QHash.
#include "HitDecoder.h"
#include "KEOStatic.h"

#include <gtest/gtest.h>

#include <random>

static QString block(const QHash<QString, QString> &data) {
    return KEOStatic::serializeToQueryString(QHash<QString, QString>(), data);
}

TEST(ContextSerialization, EmptyContextWritesNoBlock) {
    EXPECT_EQ(block({}), QString(""));
}

TEST(ContextSerialization, KeyWithoutDotIsAPairInsideTheBlock) {
    EXPECT_EQ(block({{"plan", "gold"}}), QString("&c.&plan=gold&.c"));
}

TEST(ContextSerialization, DottedKeyNestsOneLevelPerPart) {
    EXPECT_EQ(block({{"shop.cart.id", "7"}}), QString("&c.&shop.&cart.&id=7&.cart&.shop&.c"));
}

TEST(ContextSerialization, NodeWithValueAndChildrenWritesValueFirst) {
    EXPECT_EQ(block({{"a", "1"}, {"a.b", "2"}}), QString("&c.&a=1&a.&b=2&.a&.c"));
}

TEST(ContextSerialization, EmptyValueWritesNoPairButKeepsBrackets) {
    EXPECT_EQ(block({{"a.CarrierName", ""}}), QString("&c.&a.&.a&.c"));
}

TEST(ContextSerialization, KeyCleanedToNothingGivesPairWithEmptyName) {
    EXPECT_EQ(block({{"%%", "value"}}), QString("&c.&=value&.c"));
}

TEST(ContextSerialization, TrailingDotLeftByCleaningNestsUnderEmptyName) {
    EXPECT_EQ(block({{"a.%", "1"}}), QString("&c.&a.&=1&.a&.c"));
}

TEST(ContextSerialization, ValuesAreEncodedOnceAndCannotBreakTheBrackets) {
    EXPECT_EQ(block({{"k", "a&b=c%d e"}}), QString("&c.&k=a%26b%3Dc%25d%20e&.c"));
}

TEST(ContextSerialization, PlaceholderInValueIsNotRescanned) {
    EXPECT_EQ(block({{"k", "%1%2"}}), QString("&c.&k=%251%252&.c"));
}

TEST(ContextSerialization, VarsAreEncodedButNotCleanedAndEmptyValuesKept) {
    EXPECT_EQ(KEOStatic::serializeToQueryString({{"my key", ""}}, {}), QString("&my%20key="));
}

TEST(ContextSerialization, DeepNestingHasNoLimit) {
    QString key = "k0";
    for (int i = 1; i < 200; ++i)
        key += QString(".k%1").arg(i);
    const collector::DecodedHit hit =
        collector::decodeHit("/b/ss/r/0/BBN-4.0.0/s1",
                             ("AQB=1&ndh=1" + block({{key, "deep"}}) + "&AQE=1").toStdString());
    ASSERT_TRUE(hit.wellFormed) << hit.error;
    EXPECT_EQ(hit.ctx(key.toStdString()).value_or("<missing>"), "deep");
}

TEST(UrlEncode, KeepsUnreservedAndEscapesTheRestInUpperCase) {
    EXPECT_EQ(KEOStatic::urlEncode(""), QString(""));
    EXPECT_EQ(KEOStatic::urlEncode("aZ09-._~"), QString("aZ09-._~"));
    EXPECT_EQ(KEOStatic::urlEncode("/"), QString("%2F"));
    EXPECT_EQ(KEOStatic::urlEncode("a b+c"), QString("a%20b%2Bc"));
    EXPECT_EQ(KEOStatic::urlEncode("%41"), QString("%2541"));
    EXPECT_EQ(KEOStatic::urlEncode(QString::fromUtf8("\xC3\xA9")), QString("%C3%A9"));
}

// Random hashes of random keys and values come back exactly through the collector's decoder.
TEST(ContextSerialization, RandomHashesRoundTripThroughTheDecoder) {
    std::mt19937 random(12345);
    const QString keyChars = "abcXYZ019.";
    const QString valueChars = QString::fromUtf8("ab &=%+.?#/\xC3\xA9\xE2\x82\xAC");
    auto pick = [&](const QString &chars, int length) {
        QString text;
        for (int i = 0; i < length; ++i)
            text += chars[static_cast<int>(random() % chars.size())];
        return text;
    };
    for (int round = 0; round < 300; ++round) {
        QHash<QString, QString> data;
        const int entries = 1 + static_cast<int>(random() % 8);
        for (int i = 0; i < entries; ++i)
            data[pick(keyChars, 1 + static_cast<int>(random() % 8))] =
                pick(valueChars, 1 + static_cast<int>(random() % 10));
        const QHash<QString, QString> cleaned = KEOStatic::cleanContextDataHash(data);
        const collector::DecodedHit hit = collector::decodeHit(
            "/b/ss/r/0/BBN-4.0.0/s1", ("AQB=1&ndh=1" + block(data) + "&AQE=1").toStdString());
        ASSERT_TRUE(hit.wellFormed) << hit.error;
        for (auto it = cleaned.constBegin(); it != cleaned.constEnd(); ++it) {
            // A key that is also the prefix of another cleaned key still keeps its own value.
            EXPECT_EQ(hit.ctx(it.key().toStdString()).value_or("<missing>"),
                      it.value().toStdString())
                << "key " << it.key().toStdString();
        }
    }
}
