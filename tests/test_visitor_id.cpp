// The visitor identifier: its form, made once per installation, and a stored value taken as
// it stands. Each generation needs a process of its own.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegExp>
#include <QSet>

#include <gtest/gtest.h>

namespace {

const QRegExp kForm("[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}");
const char *kFile = "data/KEOPreferences.json";

QString stored(const WorkDir &dir) {
    return QJsonDocument::fromJson(dir.read(kFile)).object().value("aid").toString();
}

void generate() {
    const QString aid = KEOStatic::getServerVisitorID();
    EXPECT_EQ(KEOStatic::getServerVisitorID(), aid);
}

} // namespace

// An empty stored value counts as none.
TEST(VisitorId, EachInstallationGetsANewIdentifierOfTheFormThatLaterRunsKeep) {
    QSet<QString> seen;
    for (int i = 0; i < 100; ++i) {
        WorkDir dir;
        if (i % 2)
            dir.write(kFile, R"({"aid": ""})");
        inChild(generate);
        const QString aid = stored(dir);
        ASSERT_TRUE(kForm.exactMatch(aid)) << aid.toStdString();
        EXPECT_FALSE(seen.contains(aid));
        seen.insert(aid);
        const QByteArray file = dir.read(kFile);
        inChild([&] { EXPECT_EQ(KEOStatic::getServerVisitorID(), aid); });
        EXPECT_EQ(dir.read(kFile), file);
    }
}

TEST(VisitorId, StoredValueIsTakenVerbatim) {
    WorkDir dir;
    dir.write(kFile, R"({"aid": "not-a-real-id"})");
    inChild([] { EXPECT_EQ(KEOStatic::getServerVisitorID(), QString("not-a-real-id")); });
    EXPECT_EQ(dir.read(kFile), R"({"aid": "not-a-real-id"})");
}

TEST(VisitorId, UnwritableStoreKeepsTheIdentifierForThisProcess) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    QString aid;
    const std::string err = captureStderr([&] { aid = KEOStatic::getServerVisitorID(); });
    EXPECT_TRUE(kForm.exactMatch(aid));
    EXPECT_EQ(aid, KEOStatic::getServerVisitorID());
    EXPECT_EQ(libraryLines(err).rfind("KEOMobile Error: Unable to write JSON Defaults file (", 0),
              0u)
        << err;
}
