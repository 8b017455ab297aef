// Context data keys are reduced to letters, digits and single inner dots, in one pass.
#include "KEOStatic.h"

#include <gtest/gtest.h>

static QString clean(const QString &key) {
    return KEOStatic::cleanContextDataKey(key);
}

TEST(ContextKeyCleaning, KeepsLettersDigitsAndInnerDots) {
    EXPECT_EQ(clean("a.DeviceName"), QString("a.DeviceName"));
    EXPECT_EQ(clean("a.OSVersion"), QString("a.OSVersion"));
    EXPECT_EQ(clean("Shop2.Cart"), QString("Shop2.Cart"));
}

TEST(ContextKeyCleaning, RemovesEverythingElseWithoutReplacement) {
    EXPECT_EQ(clean("my key!"), QString("mykey"));
    EXPECT_EQ(clean("a_b-c"), QString("abc"));
    EXPECT_EQ(clean(QString::fromUtf8("\xC3\xA9"
                                      "b")),
              QString("b"));
    EXPECT_EQ(clean("%%%"), QString(""));
}

TEST(ContextKeyCleaning, TrimsOuterDotsAndCollapsesRuns) {
    EXPECT_EQ(clean("..a..b.."), QString("a.b"));
    EXPECT_EQ(clean("..."), QString(""));
    EXPECT_EQ(clean("."), QString(""));
    EXPECT_EQ(clean(""), QString(""));
}

TEST(ContextKeyCleaning, DotsExposedByRemovalStayInOnePass) {
    EXPECT_EQ(clean("a.%"), QString("a."));
    EXPECT_EQ(clean("%.a"), QString(".a"));
    EXPECT_EQ(clean("a.%.b"), QString("a.b"));
}

TEST(ContextKeyCleaning, CollidingKeysKeepOneEntry) {
    QHash<QString, QString> data;
    data["a"] = "1";
    data["a!"] = "2";
    const QHash<QString, QString> cleaned = KEOStatic::cleanContextDataHash(data);
    ASSERT_EQ(cleaned.size(), 1);
    EXPECT_TRUE(cleaned.value("a") == "1" || cleaned.value("a") == "2");
}

TEST(ContextKeyCleaning, KeyThatCleansToNothingStaysUnderTheEmptyKey) {
    QHash<QString, QString> data;
    data["%%"] = "v";
    const QHash<QString, QString> cleaned = KEOStatic::cleanContextDataHash(data);
    ASSERT_EQ(cleaned.size(), 1);
    EXPECT_EQ(cleaned.value(""), QString("v"));
}
