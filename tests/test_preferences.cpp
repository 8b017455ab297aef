// The preferences store: typed values kept as JSON strings, written through on every change,
// and what a damaged, missing or unwritable file gives.
#include "KEOSharedPreferences.h"
#include "WorkDir.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

const char *kFile = "data/KEOPreferences.json";

QJsonObject fileObject(const WorkDir &dir) {
    return QJsonDocument::fromJson(dir.read(kFile)).object();
}

KEOSharedPreferences *prefs() {
    return KEOSharedPreferences::sharedInstance();
}

// Every getter on one key: "text|bool|long|date", the date in ISO form, empty when none.
std::string everyGetter(const char *key) {
    KEOSharedPreferences *p = prefs();
    return QString("%1|%2|%3|%4")
        .arg(p->getString(key))
        .arg(p->getBool(key))
        .arg(p->getLong(key))
        .arg(p->getDateTime(key).toString(Qt::ISODate))
        .toStdString();
}

} // namespace

TEST(Preferences, EveryGetterReadsTheStoredTextByItsRuleAndOnlyPutsWrite) {
    WorkDir dir;
    const QByteArray file = R"({"two": "2", "word": "true", "n": "abc", "d": "yesterday",
        "Launches": "7"})";
    dir.write(kFile, file);
    const std::pair<const char *, const char *> loaded[] = {
        {"two", "2|0|2|"},       {"word", "true|0|0|"},  {"n", "abc|0|0|"},
        {"d", "yesterday|0|0|"}, {"Launches", "7|0|7|"}, {"missing", "|0|0|"}};
    for (const auto &[key, values] : loaded)
        EXPECT_EQ(everyGetter(key), values) << key;
    EXPECT_EQ(dir.read(kFile), file);
    prefs()->putBool("yes", true);
    prefs()->putBool("no", false);
    prefs()->putLong("n", -5);
    prefs()->putDateTime("d", QDateTime::fromString("2026-03-07T09:30:15.678", Qt::ISODate));
    prefs()->putString("e", "");
    const std::pair<const char *, const char *> put[] = {
        {"yes", "1|1|1|"},
        {"no", "0|0|0|"},
        {"n", "-5|0|-5|"},
        {"d", "2026-03-07T09:30:15|0|0|2026-03-07T09:30:15"},
        {"e", "|0|0|"}};
    for (const auto &[key, values] : put)
        EXPECT_EQ(everyGetter(key), values) << key;
    EXPECT_EQ(fileObject(dir), QJsonObject({{"two", "2"},
                                            {"word", "true"},
                                            {"Launches", "7"},
                                            {"yes", "1"},
                                            {"no", "0"},
                                            {"n", "-5"},
                                            {"d", "2026-03-07T09:30:15"},
                                            {"e", ""}}));
}

TEST(Preferences, RemoveRewritesTheFileEvenForAMissingKey) {
    WorkDir dir;
    prefs()->remove("absent");
    EXPECT_TRUE(dir.exists(kFile));
    EXPECT_EQ(fileObject(dir), QJsonObject());
    prefs()->putString("a", "1");
    prefs()->putString("b", "2");
    prefs()->remove("a");
    EXPECT_EQ(prefs()->getString("a"), QString(""));
    EXPECT_EQ(fileObject(dir), QJsonObject({{"b", "2"}}));
}

TEST(Preferences, DamagedFileCountsAsEmptyAndTheFirstPutReplacesIt) {
    for (const char *damaged : {R"({"aid": "ABC", )", R"(["aid", "ABC"])"}) {
        SCOPED_TRACE(damaged);
        inChild([&] {
            WorkDir dir;
            dir.write(kFile, damaged);
            EXPECT_EQ(prefs()->getString("aid"), QString(""));
            prefs()->putString("k", "v");
            EXPECT_EQ(fileObject(dir), QJsonObject({{"k", "v"}}));
        });
    }
}

TEST(Preferences, WithoutDataDirectoryPutLogsOnceAndServesTheValueRemoveIsSilent) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    std::string err = captureStderr([] { prefs()->putString("k", "v"); });
    EXPECT_EQ(countOf(libraryLines(err), "\n"), 1u) << err;
    EXPECT_EQ(libraryLines(err).rfind("KEOMobile Error: Unable to write JSON Defaults file (", 0),
              0u);
    EXPECT_EQ(prefs()->getString("k"), QString("v"));
    err = captureStderr([] { prefs()->remove("k"); });
    EXPECT_EQ(libraryLines(err), "");
    EXPECT_EQ(prefs()->getString("k"), QString(""));
}
