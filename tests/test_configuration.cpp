// What the configuration file gives, what it falls back to, and how the saved privacy word
// and user identifier take part.
#include "KEOMobile.h"
#include "KEOMobileConfig.h"
#include "KEOSharedPreferences.h"
#include "WorkDir.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

class Configuration : public ::testing::Test {
protected:
    void writeAnalytics(const QString &members) {
        dir.write("app/native/KEOMobileConfig.json",
                  QString("{\"analytics\": {%1}}").arg(members).toUtf8());
    }
    KEOMobileConfig *config() { return KEOMobileConfig::sharedInstance(); }
    WorkDir dir;
};

} // namespace

TEST_F(Configuration, MissingFileGivesTheDefaultsAndNoMessage) {
    const std::string err = captureStderr([this] { config(); });
    EXPECT_EQ(libraryLines(err), "");
    EXPECT_EQ(config()->getVersion(), QString("1.0"));
    EXPECT_EQ(config()->getReportSuiteIDs(), QString(""));
    EXPECT_EQ(config()->getTrackingServer(), QString(""));
    EXPECT_EQ(config()->getCharacterSet(), QString(""));
    EXPECT_FALSE(config()->getSSL());
    EXPECT_FALSE(config()->getOfflineTrackingEnabled());
    EXPECT_EQ(config()->getLifecycleTimeout(), 300u);
    EXPECT_EQ(config()->getBatchLimit(), 50u);
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptIn);
    EXPECT_TRUE(config()->getPointsOfInterest().isEmpty());
    EXPECT_FALSE(config()->getDebugLogging());
}

TEST_F(Configuration, FullFileIsReadIntoEveryField) {
    dir.write("app/native/KEOMobileConfig.json", R"({
      "version": "2.5",
      "analytics": {"rsids": "a,b", "server": "collect.example:8080", "charset": "ISO-8859-1",
                    "ssl": true, "offlineEnabled": true, "lifecycleTimeout": 30,
                    "batchLimit": 7, "privacyDefault": "optedout",
                    "poi": [["home", 1.5, 2.5, 100]]}})");
    EXPECT_EQ(config()->getVersion(), QString("2.5"));
    EXPECT_EQ(config()->getReportSuiteIDs(), QString("a,b"));
    EXPECT_EQ(config()->getTrackingServer(), QString("collect.example:8080"));
    EXPECT_EQ(config()->getCharacterSet(), QString("ISO-8859-1"));
    EXPECT_TRUE(config()->getSSL());
    EXPECT_TRUE(config()->getOfflineTrackingEnabled());
    EXPECT_EQ(config()->getLifecycleTimeout(), 30u);
    EXPECT_EQ(config()->getBatchLimit(), 7u);
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptOut);
    ASSERT_EQ(config()->getPointsOfInterest().size(), 1);
    EXPECT_EQ(config()->getPointsOfInterest()[0].name, QString("home"));
    EXPECT_EQ(config()->getPointsOfInterest()[0].radius, 100.0);
}

TEST_F(Configuration, InvalidJsonGivesTheDefaults) {
    dir.write("app/native/KEOMobileConfig.json", "{\"analytics\": {\"ssl\": tru");
    EXPECT_FALSE(config()->getSSL());
    EXPECT_EQ(config()->getLifecycleTimeout(), 300u);
}

TEST_F(Configuration, RootThatIsNoObjectGivesTheDefaults) {
    dir.write("app/native/KEOMobileConfig.json", "[1, 2, 3]");
    EXPECT_EQ(config()->getVersion(), QString("1.0"));
}

TEST_F(Configuration, VersionIsReadEvenWithoutAnalyticsSection) {
    dir.write("app/native/KEOMobileConfig.json", R"({"version": "3.1", "analytics": 5})");
    EXPECT_EQ(config()->getVersion(), QString("3.1"));
    EXPECT_EQ(config()->getBatchLimit(), 50u);
}

TEST_F(Configuration, LifecycleTimeoutOfZeroStaysZero) {
    writeAnalytics("\"lifecycleTimeout\": 0");
    EXPECT_EQ(config()->getLifecycleTimeout(), 0u);
}

TEST_F(Configuration, LifecycleTimeoutWithoutDigitsFallsBackTo300) {
    writeAnalytics("\"lifecycleTimeout\": \"soon\"");
    EXPECT_EQ(config()->getLifecycleTimeout(), 300u);
}

TEST_F(Configuration, BatchLimitAsStringOfDigitsIsTaken) {
    writeAnalytics("\"batchLimit\": \"12\"");
    EXPECT_EQ(config()->getBatchLimit(), 12u);
}

TEST_F(Configuration, MissingCharsetStaysEmpty) {
    writeAnalytics("\"rsids\": \"r\"");
    EXPECT_EQ(config()->getCharacterSet(), QString(""));
}

TEST_F(Configuration, PrivacyWordIgnoresCase) {
    writeAnalytics("\"privacyDefault\": \"OPTEDOUT\"");
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptOut);
}

TEST_F(Configuration, OptUnknownLoadsAsOptIn) {
    writeAnalytics("\"privacyDefault\": \"optunknown\"");
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptIn);
}

TEST_F(Configuration, SavedPrivacyWordBeatsTheFile) {
    dir.write("data/KEOPreferences.json", R"({"PrivacyStatus": "optedout"})");
    writeAnalytics("\"privacyDefault\": \"optedin\"");
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptOut);
}

TEST_F(Configuration, FileDefaultIsNotSaved) {
    writeAnalytics("\"privacyDefault\": \"optedout\"");
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptOut);
    EXPECT_FALSE(dir.exists("data/KEOPreferences.json"));
}

TEST_F(Configuration, SetUnknownHoldsForTheProcessAndSavesOptUnknown) {
    KEOMobile::setPrivacyStatus(KEOMobilePrivacyStatusUnknown);
    EXPECT_EQ(KEOMobile::getPrivacyStatus(), KEOMobilePrivacyStatusUnknown);
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("PrivacyStatus"),
              QString("optunknown"));
}

TEST_F(Configuration, StatusOutsideTheEnumerationIsKeptAndSavedAsOptUnknown) {
    KEOMobile::setPrivacyStatus(static_cast<KEOMobilePrivacyStatus>(9));
    EXPECT_EQ(static_cast<int>(KEOMobile::getPrivacyStatus()), 9);
    EXPECT_EQ(KEOSharedPreferences::sharedInstance()->getString("PrivacyStatus"),
              QString("optunknown"));
}

TEST_F(Configuration, SavedOptUnknownLoadsAsOptIn) {
    dir.write("data/KEOPreferences.json", R"({"PrivacyStatus": "optunknown"})");
    EXPECT_EQ(config()->getPrivacyStatus(), KEOMobilePrivacyStatusOptIn);
}

TEST_F(Configuration, PointsOfInterestKeepOnlyFourEntryElementsInOrder) {
    writeAnalytics(R"("poi": [["first", 1, 2, 3], ["short", 1], ["long", 1, 2, 3, 4],
                              "no array", ["last", "north", 5, 6]])");
    const QList<KEOPointOfInterest> points = config()->getPointsOfInterest();
    ASSERT_EQ(points.size(), 2);
    EXPECT_EQ(points[0].name, QString("first"));
    EXPECT_EQ(points[0].latitude, 1.0);
    EXPECT_EQ(points[1].name, QString("last"));
    EXPECT_EQ(points[1].latitude, 0.0);
    EXPECT_EQ(points[1].longitude, 5.0);
    EXPECT_EQ(points[1].radius, 6.0);
}

TEST_F(Configuration, PointsOfInterestInTheRootAreIgnored) {
    dir.write("app/native/KEOMobileConfig.json",
              R"({"poi": [["root", 1, 2, 3]], "analytics": {"rsids": "r"}})");
    EXPECT_TRUE(config()->getPointsOfInterest().isEmpty());
}

TEST_F(Configuration, UserIdentifierIsSavedAndReadBack) {
    KEOMobile::setUserIdentifier("user-7");
    EXPECT_EQ(KEOMobile::getUserIdentifier(), QString("user-7"));
    EXPECT_EQ(
        QJsonDocument::fromJson(dir.read("data/KEOPreferences.json")).object().value("MCCVID"),
        QJsonValue(QString("user-7")));
}

TEST_F(Configuration, SavedUserIdentifierIsLoaded) {
    dir.write("data/KEOPreferences.json", R"({"MCCVID": "saved"})");
    EXPECT_EQ(KEOMobile::getUserIdentifier(), QString("saved"));
}

TEST_F(Configuration, EmptyUserIdentifierIsSavedAsEmpty) {
    dir.write("data/KEOPreferences.json", R"({"MCCVID": "saved"})");
    KEOMobile::setUserIdentifier("");
    EXPECT_EQ(KEOMobile::getUserIdentifier(), QString(""));
    EXPECT_EQ(
        QJsonDocument::fromJson(dir.read("data/KEOPreferences.json")).object().value("MCCVID"),
        QJsonValue(QString("")));
}

TEST_F(Configuration, DebugLoggingGatesDebugLinesAndStartsOff) {
    EXPECT_FALSE(KEOMobile::getDebugLogging());
    KEOMobile::setDebugLogging(true);
    EXPECT_TRUE(KEOMobile::getDebugLogging());
}
