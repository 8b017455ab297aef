// The visitor identifier: its form, its persistence, and a stored value taken as it stands.
#include "KEOSharedPreferences.h"
#include "KEOStatic.h"
#include "WorkDir.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegExp>
#include <QSet>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

static const QRegExp FORM("^[0-7][0-9A-F]{15}-[0-3][0-9A-F]{15}$");

// Each generation needs a fresh process: the identifier is made once per process.
static QString generateInChild(const WorkDir &dir) {
    int fds[2];
    if (pipe(fds) != 0)
        return QString();
    const pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        if (chdir(dir.path().toUtf8().constData()) != 0)
            _exit(1);
        const QByteArray aid = KEOStatic::getServerVisitorID().toUtf8();
        if (write(fds[1], aid.constData(), aid.size()) < 0)
            _exit(1);
        _exit(0);
    }
    close(fds[1]);
    QByteArray out;
    char buffer[128];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof buffer)) > 0)
        out.append(buffer, static_cast<int>(n));
    close(fds[0]);
    waitpid(child, nullptr, 0);
    return QString::fromUtf8(out);
}

TEST(VisitorId, EveryGenerationHasTheFormAndIsNew) {
    QSet<QString> seen;
    for (int i = 0; i < 200; ++i) {
        WorkDir dir;
        const QString aid = generateInChild(dir);
        ASSERT_TRUE(FORM.exactMatch(aid)) << aid.toStdString();
        EXPECT_FALSE(seen.contains(aid));
        seen.insert(aid);
    }
}

TEST(VisitorId, IsStoredUnderAidAndStableWithinTheProcess) {
    WorkDir dir;
    const QString aid = KEOStatic::getServerVisitorID();
    EXPECT_TRUE(FORM.exactMatch(aid)) << aid.toStdString();
    EXPECT_EQ(KEOStatic::getServerVisitorID(), aid);
    EXPECT_EQ(QJsonDocument::fromJson(dir.read("data/KEOPreferences.json")).object().value("aid"),
              QJsonValue(aid));
}

TEST(VisitorId, SecondProcessOnTheSameFileReadsTheSameIdentifier) {
    WorkDir dir;
    const QString first = generateInChild(dir);
    const QString second = generateInChild(dir);
    EXPECT_TRUE(FORM.exactMatch(first));
    EXPECT_EQ(second, first);
}

TEST(VisitorId, StoredValueIsTakenVerbatimAndNotRewritten) {
    WorkDir dir;
    const QByteArray file = R"({"aid": "not-a-real-id"})";
    dir.write("data/KEOPreferences.json", file);
    EXPECT_EQ(KEOStatic::getServerVisitorID(), QString("not-a-real-id"));
    EXPECT_EQ(dir.read("data/KEOPreferences.json"), file);
}

TEST(VisitorId, EmptyStoredValueIsReplacedByANewIdentifier) {
    WorkDir dir;
    dir.write("data/KEOPreferences.json", R"({"aid": ""})");
    EXPECT_TRUE(FORM.exactMatch(KEOStatic::getServerVisitorID()));
}

TEST(VisitorId, UnwritableStoreKeepsTheIdentifierForThisProcess) {
    WorkDir dir;
    QDir(dir.file("data")).removeRecursively();
    QString aid;
    const std::string err = captureStderr([&] { aid = KEOStatic::getServerVisitorID(); });
    EXPECT_TRUE(FORM.exactMatch(aid));
    EXPECT_EQ(libraryLines(err).rfind("KEOMobile Error: Unable to write JSON Defaults file (", 0),
              0u)
        << err;
}
