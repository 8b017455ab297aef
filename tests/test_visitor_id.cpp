// The visitor identifier: its form, made once per installation, a stored value taken as it
// stands (where it can't be stored: the preferences test). Each generation needs a process of its
// own.
#include "KEOStatic.h"
#include "WorkDir.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace {

const QRegularExpression kForm("^[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}$");
const char *kFile = "data/KEOPreferences.json";

QString stored(const WorkDir &dir) {
    return QJsonDocument::fromJson(dir.read(kFile)).object().value("aid").toString();
}

} // namespace

// An empty stored value counts as none; any other is taken verbatim, the file left as it is.
TEST(VisitorId, EachInstallationGetsANewIdentifierOfTheFormThatLaterRunsKeep) {
    QSet<QString> seen;
    const char *verbatim = R"({"aid": "not-a-real-id"})";
    for (int i = 0; i < 100; ++i) {
        WorkDir dir;
        if (i % 2)
            dir.write(kFile, i == 99 ? verbatim : R"({"aid": ""})");
        inChild(
            [] { EXPECT_EQ(KEOStatic::getServerVisitorID(), KEOStatic::getServerVisitorID()); });
        const QString aid = stored(dir);
        ASSERT_TRUE(i == 99 ? dir.read(kFile) == verbatim : kForm.match(aid).hasMatch())
            << aid.toStdString();
        EXPECT_FALSE(seen.contains(aid));
        seen.insert(aid);
        const QByteArray file = dir.read(kFile);
        inChild([&] { EXPECT_EQ(KEOStatic::getServerVisitorID(), aid); });
        EXPECT_EQ(dir.read(kFile), file);
    }
}

// The visitor identifier's digits and each hit's random number come from qrand()'s unseeded
// sequence, one per thread; Qt 6 builds draw the same numbers from the same generator.
TEST(VisitorId, DrawsFollowTheUnseededPerThreadSequenceOfQt5) {
    for (int thread = 0; thread < 2; ++thread)
        std::thread([] {
            std::minstd_rand qt5;
            for (int i = 0; i < 1000; ++i)
                ASSERT_EQ(KEOStatic::qrandDraw(), static_cast<int>(qt5())) << "draw " << i;
        }).join();
}
