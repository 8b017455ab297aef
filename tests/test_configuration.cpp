// What the configuration file gives, what it falls back to, and how the saved privacy word and
// user identifier take part. The file is read once per process: one child process per case.
#include "KEOMobile.h"
#include "KEOMobileConfig.h"
#include "WorkDir.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

const char *kConfig = "app/native/KEOMobileConfig.json";
const char *kPreferences = "data/KEOPreferences.json";

// Every field on one line: version|rsids|server|charset|ssl|offline|timeout|batch|privacy|
// user|debug|points of interest as name@lat,lon,radius.
std::string describe() {
    KEOMobileConfig *c = KEOMobileConfig::sharedInstance();
    QStringList points;
    for (const KEOPointOfInterest &p : c->getPointsOfInterest())
        points << QString("%1@%2,%3,%4").arg(p.name).arg(p.latitude).arg(p.longitude).arg(p.radius);
    return QStringList{c->getVersion(),
                       c->getReportSuiteIDs(),
                       c->getTrackingServer(),
                       c->getCharacterSet(),
                       QString::number(c->getSSL()),
                       QString::number(c->getOfflineTrackingEnabled()),
                       QString::number(c->getLifecycleTimeout()),
                       QString::number(c->getBatchLimit()),
                       QString::number(c->getPrivacyStatus()),
                       c->getUserIdentifier(),
                       QString::number(c->getDebugLogging()),
                       points.join(';')}
        .join('|')
        .toStdString();
}

QJsonValue saved(const WorkDir &dir, const char *key) {
    return QJsonDocument::fromJson(dir.read(kPreferences)).object().value(key);
}

} // namespace

TEST(Configuration, FileFieldsFallbacksAndSavedValues) {
    struct Case {
        const char *config; // null: no file
        const char *preferences;
        const char *expected;
    };
    const Case cases[] = {
        {nullptr, nullptr, "1.0||||0|0|300|50|1||0|"},
        {R"({"version": "2.5", "analytics": {"rsids": "a,b", "server": "collect.example:8080",
            "charset": "ISO-8859-1", "ssl": true, "offlineEnabled": true,
            "lifecycleTimeout": 30, "batchLimit": 7, "privacyDefault": "optedout",
            "poi": [["home", 1.5, 2.5, 100]]}})",
         nullptr, "2.5|a,b|collect.example:8080|ISO-8859-1|1|1|30|7|2||0|home@1.5,2.5,100"},
        {R"({"analytics": {"ssl": tru)", nullptr, "1.0||||0|0|300|50|1||0|"},
        {"[1, 2, 3]", nullptr, "1.0||||0|0|300|50|1||0|"},
        {R"({"version": "3.1", "analytics": 5})", nullptr, "3.1||||0|0|300|50|1||0|"},
        {R"({"analytics": {"lifecycleTimeout": 0, "batchLimit": "12"}})", nullptr,
         "1.0||||0|0|0|12|1||0|"},
        {R"({"analytics": {"lifecycleTimeout": "soon", "privacyDefault": "OPTEDOUT"}})", nullptr,
         "1.0||||0|0|300|50|2||0|"},
        {R"({"analytics": {"privacyDefault": "optunknown"}})", nullptr, "1.0||||0|0|300|50|1||0|"},
        // A saved word beats the file; a saved "optunknown" loads as opted in.
        {R"({"analytics": {"privacyDefault": "optedin"}})", R"({"PrivacyStatus": "optedout"})",
         "1.0||||0|0|300|50|2||0|"},
        {R"({"analytics": {"privacyDefault": "optedout"}})",
         R"({"PrivacyStatus": "optunknown", "MCCVID": "saved"})", "1.0||||0|0|300|50|1|saved|0|"},
        {R"({"analytics": {"poi": [["first", 1, 2, 3], ["short", 1], ["long", 1, 2, 3, 4],
            "four", "no array", ["last", "north", 5, 6]]}})",
         nullptr, "1.0||||0|0|300|50|1||0|first@1,2,3;last@0,5,6"},
        {R"({"poi": [["root", 1, 2, 3]], "analytics": {"rsids": "r"}})", nullptr,
         "1.0|r|||0|0|300|50|1||0|"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.expected);
        inChild([&] {
            WorkDir dir;
            if (c.config)
                dir.write(kConfig, c.config);
            if (c.preferences)
                dir.write(kPreferences, c.preferences);
            std::string described;
            EXPECT_EQ(libraryLines(captureStderr([&] { described = describe(); })), "");
            EXPECT_EQ(described, c.expected);
            // Reading writes nothing back.
            EXPECT_EQ(dir.exists(kPreferences), c.preferences != nullptr);
        });
    }
}

TEST(Configuration, PrivacyStatusAndUserIdentifierAreKeptAsSetAndSaved) {
    WorkDir dir;
    const std::pair<int, const char *> cases[] = {
        {2, "optedout"}, {1, "optedin"}, {3, "optunknown"}, {9, "optunknown"}};
    for (const auto &[status, word] : cases) {
        KEOMobile::setPrivacyStatus(static_cast<KEOMobilePrivacyStatus>(status));
        KEOMobile::setUserIdentifier(status == 9 ? "" : word);
        EXPECT_EQ(static_cast<int>(KEOMobile::getPrivacyStatus()), status);
        EXPECT_EQ(KEOMobile::getUserIdentifier(), QString(status == 9 ? "" : word));
        EXPECT_EQ(saved(dir, "PrivacyStatus"), QJsonValue(word));
        EXPECT_EQ(saved(dir, "MCCVID"), QJsonValue(status == 9 ? "" : word));
    }
}
