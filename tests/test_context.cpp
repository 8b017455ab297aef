// Context data: keys cleaned in one pass, nested by their dots, written in the hashes' own
// order and percent-encoded once; the library's shortcuts give what the general path gives.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <QRegExp>
#include <QUrl>

#include <gtest/gtest.h>

#include <random>

namespace {

// A fixed hash seed makes the hashes' order a literal; it must precede every hash.
const bool seeded = (qSetGlobalQHashSeed(0), true);
constexpr bool kQt6 = QT_VERSION_MAJOR == 6;

using Hash = QHash<QString, QString>;

QString block(const Hash &data) {
    return KEOStatic::serializeToQueryString(Hash(), data);
}

// The general path that every key and value is defined by.
QString cleanedByExpressions(QString key) {
    KEOStatic::replaceAll(key, QRegExp("[^0-9a-zA-Z.]|^[.]{1,}|[.]{1,}$"), QString());
    KEOStatic::replaceAll(key, QRegExp("[.]{2,}"), ".");
    return key;
}

QString encodedByQt(const QString &text) {
    return QString(QUrl::toPercentEncoding(text, QByteArray(), QByteArray()));
}

} // namespace

TEST(ContextKeyCleaning, KeepsLettersDigitsAndInnerDotsInOnePass) {
    // clang-format off
    const std::vector<std::pair<QString, QString>> cases{
        {"a.DeviceName", "a.DeviceName"}, {"Shop2.Cart", "Shop2.Cart"}, {"my key!", "mykey"},
        {"a_b-c", "abc"}, {QString::fromUtf8("\xC3\xA9") + "b", "b"}, {"%%%", ""},
        {"..a..b..", "a.b"}, {"...", ""}, {".", ""}, {"", ""},
        // Dots that only become outer through the removal stay: no second pass.
        {"a.%", "a."}, {"%.a", ".a"}, {"a.%.b", "a.b"}};
    // clang-format on
    for (const auto &[key, cleaned] : cases)
        EXPECT_EQ(KEOStatic::cleanContextDataKey(key), cleaned) << key.toStdString();
}

TEST(ContextKeyCleaning, CollidingKeysKeepTheValueLaterInTheHashOrder) {
    // With this seed "a!" comes after "a"; "b" comes after "b!" in Qt 5's hash, not in Qt 6's.
    EXPECT_EQ(KEOStatic::cleanContextDataHash({{"a", "1"}, {"a!", "2"}}), (Hash{{"a", "2"}}));
    EXPECT_EQ(KEOStatic::cleanContextDataHash({{"b", "1"}, {"b!", "2"}}),
              (Hash{{"b", kQt6 ? "2" : "1"}}));
    EXPECT_EQ(KEOStatic::cleanContextDataHash({{"%%", "v"}}), (Hash{{"", "v"}}));
}

TEST(ContextKeyCleaning, ShortcutsGiveWhatExpressionsAndPercentEncodingGive) {
    const QChar nul(0), high(0xD83D), low(0xDE00), lone(0xD800);
    // clang-format off
    std::vector<QString> texts{".", "..", ".a", "a.", "a..b", "~", "%", "%41", "a b", "-_.~",
                               QString(nul), QString::fromUtf8("\xC3\xA9t\xC3\xA9"),
                               QString(high) + low, QString(lone), QString(low) + "a"};
    // clang-format on
    const QString alphabet = QString("aZ09.~%-_ /") + nul + QChar(0xE9) + high + low;
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        QString text;
        for (int n = static_cast<int>(random() % 9); n > 0; --n)
            text += alphabet[static_cast<int>(random() % alphabet.size())];
        texts.push_back(text);
    }
    for (const QString &text : texts) {
        EXPECT_EQ(KEOStatic::cleanContextDataKey(text), cleanedByExpressions(text))
            << text.toStdString();
        EXPECT_EQ(KEOStatic::urlEncode(text), encodedByQt(text)) << text.toStdString();
    }
    EXPECT_EQ(KEOStatic::urlEncode("aZ09-._~ /%41"), QString("aZ09-._~%20%2F%2541"));
}

TEST(ContextSerialization, TheHitsWriterKeepsTheTreesOrderUnderARandomSeed) {
    inChild([] {
        qSetGlobalQHashSeed(-1); // random, as in an application: every bit of the seed in use
        Hash data;
        for (int i = 0; i < 40; ++i)
            data.insert(QString("k%1.p%2").arg(i % 7).arg(i), QString::number(i));
        QByteArray written;
        EXPECT_TRUE(KEOStatic::appendQueryString(written, {}, data));
        EXPECT_EQ(written, block(data).toUtf8());
    });
}

TEST(ContextSerialization, NestsByDotsAndWritesValuesBeforeBranches) {
    const std::vector<std::pair<Hash, QString>> cases{
        {{}, ""},
        {{{"plan", "gold"}}, "&c.&plan=gold&.c"},
        {{{"shop.cart.id", "7"}}, "&c.&shop.&cart.&id=7&.cart&.shop&.c"},
        {{{"a.b.c.d.e", "v"}}, "&c.&a.&b.&c.&d.&e=v&.d&.c&.b&.a&.c"},
        {{{"a", "1"}, {"a.b", "2"}}, "&c.&a=1&a.&b=2&.a&.c"},
        {{{"a.CarrierName", ""}}, "&c.&a.&.a&.c"},
        {{{"%%", "value"}}, "&c.&=value&.c"},
        {{{"a.%", "1"}}, "&c.&a.&=1&.a&.c"},
        {{{"k", "a&b=c%d e"}}, "&c.&k=a%26b%3Dc%25d%20e&.c"},
        {{{"k", "%1%2"}}, "&c.&k=%251%252&.c"},
        // Each level in its hash's order, never sorted; the two majors' hashes differ.
        {{{"three", "3"}, {"one", "1"}, {"two", "2"}},
         kQt6 ? "&c.&two=2&three=3&one=1&.c" : "&c.&three=3&one=1&two=2&.c"},
        {{{"x.name", "n"}, {"x.plan", "p"}, {"x.shop", "s"}},
         kQt6 ? "&c.&x.&name=n&plan=p&shop=s&.x&.c" : "&c.&x.&name=n&shop=s&plan=p&.x&.c"}};
    for (const auto &[data, text] : cases)
        EXPECT_EQ(block(data), text) << text.toStdString();
    EXPECT_EQ(KEOStatic::serializeToQueryString({{"my key", ""}}, {}), QString("&my%20key="));
}
