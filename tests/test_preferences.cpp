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

} // namespace

TEST(Preferences, TypedValuesAreStoredAsTextAndReadBack) {
    WorkDir dir;
    const QDateTime when = QDateTime::fromString("2026-03-07T09:30:15.678", Qt::ISODate);
    prefs()->putBool("yes", true);
    prefs()->putBool("no", false);
    prefs()->putLong("n", -5);
    prefs()->putDateTime("d", when);
    prefs()->putString("e", "");
    EXPECT_EQ(
        fileObject(dir),
        QJsonObject(
            {{"yes", "1"}, {"no", "0"}, {"n", "-5"}, {"d", "2026-03-07T09:30:15"}, {"e", ""}}));
    EXPECT_TRUE(prefs()->getBool("yes"));
    EXPECT_FALSE(prefs()->getBool("no"));
    EXPECT_EQ(prefs()->getLong("n"), -5);
    EXPECT_EQ(prefs()->getDateTime("d"), when.addMSecs(-678));
    EXPECT_EQ(prefs()->getString("e"), QString(""));
}

TEST(Preferences, LoadedTextIsReadByTheTypedRulesAndReadsWriteNothing) {
    WorkDir dir;
    const QByteArray file = R"({"two": "2", "word": "true", "one": "1", "n": "abc",
        "d": "yesterday", "aid": "ABC", "Launches": "7"})";
    dir.write(kFile, file);
    EXPECT_FALSE(prefs()->getBool("two"));
    EXPECT_FALSE(prefs()->getBool("word"));
    EXPECT_TRUE(prefs()->getBool("one"));
    EXPECT_EQ(prefs()->getLong("n"), 0);
    EXPECT_FALSE(prefs()->getDateTime("d").isValid());
    EXPECT_EQ(prefs()->getString("aid"), QString("ABC"));
    EXPECT_EQ(prefs()->getLong("Launches"), 7);
    EXPECT_EQ(prefs()->getString("missing"), QString(""));
    EXPECT_FALSE(prefs()->getBool("missing"));
    EXPECT_EQ(prefs()->getLong("missing"), 0);
    EXPECT_TRUE(prefs()->getDateTime("missing").isNull());
    EXPECT_EQ(dir.read(kFile), file);
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
