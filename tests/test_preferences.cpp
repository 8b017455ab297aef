// The preferences store: typed values as JSON strings, write-through, and what a damaged or
// missing file gives.
#include "KEOSharedPreferences.h"
#include "WorkDir.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Preferences : public ::testing::Test {
protected:
    QJsonObject fileObject() const {
        return QJsonDocument::fromJson(dir.read("data/KEOPreferences.json")).object();
    }
    WorkDir dir;
};

} // namespace

TEST_F(Preferences, MissingKeyGivesEmptyTextAndWritesNoFile) {
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("nothing"), QString(""));
    EXPECT_FALSE(dir.exists("data/KEOPreferences.json"));
}

TEST_F(Preferences, NeutralValuesForMissingKeys) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    EXPECT_FALSE(prefs->getBool("b"));
    EXPECT_EQ(prefs->getLong("l"), 0);
    EXPECT_TRUE(prefs->getDateTime("d").isNull());
}

TEST_F(Preferences, BoolIsStoredAsTheStringOne) {
    KEOSharedPreferences::sharedInstance()->putBool("flag", true);
    EXPECT_EQ(fileObject().value("flag"), QJsonValue(QString("1")));
    EXPECT_TRUE(KEOSharedPreferences::sharedInstance()->getBool("flag"));
    KEOSharedPreferences::sharedInstance()->putBool("flag", false);
    EXPECT_EQ(fileObject().value("flag"), QJsonValue(QString("0")));
}

TEST_F(Preferences, BoolReadsFalseForTwoAndForWords) {
    dir.write("data/KEOPreferences.json", R"({"two": "2", "word": "true", "one": "1"})");
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    EXPECT_FALSE(prefs->getBool("two"));
    EXPECT_FALSE(prefs->getBool("word"));
    EXPECT_TRUE(prefs->getBool("one"));
}

TEST_F(Preferences, NegativeLongRoundTripsAsText) {
    KEOSharedPreferences::sharedInstance()->putLong("n", -5);
    EXPECT_EQ(fileObject().value("n"), QJsonValue(QString("-5")));
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getLong("n"), -5);
}

TEST_F(Preferences, LongReadsZeroForText) {
    KEOSharedPreferences::sharedInstance()->putString("n", "abc");
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getLong("n"), 0);
}

TEST_F(Preferences, DateTimeRoundTripsToTheSecond) {
    const QDateTime when = QDateTime::fromString("2026-03-07T09:30:15.678", Qt::ISODate);
    KEOSharedPreferences::sharedInstance()->putDateTime("d", when);
    EXPECT_EQ(fileObject().value("d"), QJsonValue(QString("2026-03-07T09:30:15")));
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getDateTime("d"),
              QDateTime::fromString("2026-03-07T09:30:15", Qt::ISODate));
}

TEST_F(Preferences, DateTimeReadsInvalidForNonIsoText) {
    KEOSharedPreferences::sharedInstance()->putString("d", "yesterday");
    EXPECT_FALSE(KEOSharedPreferences::sharedInstance()->getDateTime("d").isValid());
}

TEST_F(Preferences, EmptyValueIsStoredAsEmptyString) {
    KEOSharedPreferences::sharedInstance()->putString("e", "");
    EXPECT_EQ(fileObject().value("e"), QJsonValue(QString("")));
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("e"), QString(""));
}

TEST_F(Preferences, RemoveOfMissingKeyStillWritesTheFile) {
    KEOSharedPreferences::sharedInstance()->remove("absent");
    ASSERT_TRUE(dir.exists("data/KEOPreferences.json"));
    EXPECT_TRUE(fileObject().isEmpty());
}

TEST_F(Preferences, RemoveDropsTheKeyFromFileAndMemory) {
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    prefs->putString("a", "1");
    prefs->putString("b", "2");
    prefs->remove("a");
    EXPECT_EQ(prefs->getString("a"), QString(""));
    EXPECT_FALSE(fileObject().contains("a"));
    EXPECT_EQ(fileObject().value("b"), QJsonValue(QString("2")));
}

TEST_F(Preferences, ExistingFileIsLoadedAtStart) {
    dir.write("data/KEOPreferences.json", R"({"aid": "ABC", "Launches": "7"})");
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("aid"), QString("ABC"));
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getLong("Launches"), 7);
}

TEST_F(Preferences, CorruptFileCountsAsEmptyAndIsReplacedByTheFirstPut) {
    dir.write("data/KEOPreferences.json", "{\"aid\": \"ABC\", ");
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    EXPECT_EQ(prefs->getString("aid"), QString(""));
    prefs->putString("k", "v");
    const QJsonObject object = fileObject();
    EXPECT_EQ(object.size(), 1);
    EXPECT_EQ(object.value("k"), QJsonValue(QString("v")));
}

TEST_F(Preferences, ArrayRootCountsAsEmptyAndIsOverwrittenWithAnObject) {
    dir.write("data/KEOPreferences.json", R"(["aid", "ABC"])");
    KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
    EXPECT_EQ(prefs->getString("aid"), QString(""));
    prefs->putString("k", "v");
    EXPECT_TRUE(QJsonDocument::fromJson(dir.read("data/KEOPreferences.json")).isObject());
    EXPECT_EQ(fileObject().value("k"), QJsonValue(QString("v")));
}

TEST(PreferencesWithoutDataDirectory, PutLogsOneLineAndServesTheValue) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    const std::string err =
        captureStderr([] { KEOSharedPreferences::sharedInstance()->putString("k", "v"); });
    const std::string lines = libraryLines(err);
    EXPECT_EQ(lines.rfind("KEOMobile Error: Unable to write JSON Defaults file (", 0), 0u) << err;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("k"), QString("v"));
}

TEST(PreferencesWithoutDataDirectory, RemoveFailsSilently) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    const std::string err =
        captureStderr([] { KEOSharedPreferences::sharedInstance()->remove("k"); });
    EXPECT_EQ(libraryLines(err), "");
}

TEST_F(Preferences, KillDuringLongRunOfWritesLeavesAFileThatParses) {
    for (int run = 0; run < 5; ++run) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            KEOSharedPreferences *prefs = KEOSharedPreferences::sharedInstance();
            for (long i = 0;; ++i)
                prefs->putLong(QString("key%1").arg(i % 50), i);
        }
        usleep(50000 + run * 20000);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        QJsonParseError error;
        const QJsonDocument document =
            QJsonDocument::fromJson(dir.read("data/KEOPreferences.json"), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << "run " << run;
        EXPECT_TRUE(document.isObject());
    }
}
