// The preferences store: typed values kept as JSON strings, written through on every change,
// and what a damaged, missing or unwritable file gives, to any value and the visitor identifier.
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"
#include "WorkDir.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

const char *kFile = "data/KEOPreferences.json";

QJsonObject fileObject(const WorkDir &dir) {
    return QJsonDocument::fromJson(dir.read(kFile)).object();
}

KEOSharedPreferences *prefs() {
    return KEOSharedPreferences::sharedInstance();
}

// Every getter on each key: "text|bool|long|date" (the date in ISO form, empty when none), joined
// by blanks.
std::string everyGetter(std::initializer_list<const char *> keys) {
    QStringList read;
    for (const char *key : keys)
        read << QString("%1|%2|%3|%4")
                    .arg(prefs()->getString(key))
                    .arg(prefs()->getBool(key))
                    .arg(prefs()->getLong(key))
                    .arg(prefs()->getDateTime(key).toString(Qt::ISODate));
    return read.join(' ').toStdString();
}

} // namespace

TEST(Preferences, EveryGetterReadsTheStoredTextByItsRuleAndOnlyPutsWrite) {
    WorkDir dir;
    const QByteArray file = R"({"two": "2", "word": "true", "n": "abc", "d": "yesterday",
        "Launches": "7"})";
    dir.write(kFile, file);
    EXPECT_EQ(everyGetter({"two", "word", "n", "d", "Launches", "missing"}),
              "2|0|2| true|0|0| abc|0|0| yesterday|0|0| 7|0|7| |0|0|");
    EXPECT_EQ(dir.read(kFile), file);
    prefs()->putBool("yes", true);
    prefs()->putBool("no", false);
    prefs()->putLong("n", -5);
    prefs()->putDateTime("d", QDateTime::fromString("2026-03-07T09:30:15.678", Qt::ISODate));
    prefs()->putString("e", "");
    EXPECT_EQ(everyGetter({"yes", "no", "n", "d", "e"}),
              "1|1|1| 0|0|0| -5|0|-5| 2026-03-07T09:30:15|0|0|2026-03-07T09:30:15 |0|0|");
    EXPECT_EQ(fileObject(dir), QJsonDocument::fromJson(R"({"two": "2", "word": "true", "n": "-5",
        "d": "2026-03-07T09:30:15", "Launches": "7", "yes": "1", "no": "0", "e": ""})")
                                   .object());
}

// The store's one line on Qt's debug stream, whatever the debug setting: its file, quoted.
TEST(Preferences, MakingTheStoreWritesItsFilePathOnceToQtsDebugStream) {
    WorkDir dir;
    const std::string err = captureStderr([] { prefs(), prefs(); });
    EXPECT_EQ(err, "\"" + dir.file(kFile).toStdString() + "\"\n");
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

// Without a data directory every put logs its line and the value serves this process, the
// visitor identifier's included; a remove logs nothing.
TEST(Preferences, WithoutDataDirectoryPutsLogAndServeTheValueRemoveIsSilent) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    QString aid;
    const std::string err = libraryLines(captureStderr([&] {
        prefs()->putString("k", "v");
        aid = KEOStatic::getServerVisitorID();
    }));
    EXPECT_EQ(countOf(err, "KEOMobile Error: Unable to write JSON Defaults file ("), 2u) << err;
    EXPECT_EQ(countOf(err, "\n"), 2u) << err;
    EXPECT_EQ(prefs()->getString("k"), QString("v"));
    EXPECT_TRUE(QRegularExpression("^[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}$").match(aid).hasMatch());
    EXPECT_EQ(KEOStatic::getServerVisitorID(), aid);
    EXPECT_EQ(libraryLines(captureStderr([] { prefs()->remove("k"); })), "");
    EXPECT_EQ(prefs()->getString("k"), QString(""));
}
