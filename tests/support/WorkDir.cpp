#include "WorkDir.h"

#include <QDir>
#include <QFile>

#include <HitTable.h>

#include <cstdlib>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

WorkDir::WorkDir() {
    char pattern[] = "/tmp/keotest-XXXXXX";
    const char *made = mkdtemp(pattern);
    if (made == nullptr)
        abort();
    _path = QString::fromUtf8(made);
    QDir().mkpath(_path + "/data");
    QDir().mkpath(_path + "/app/native");
    _previous = QDir::currentPath();
    if (chdir(made) != 0)
        abort();
}

WorkDir::~WorkDir() {
    if (chdir(_previous.toUtf8().constData()) != 0)
        return;
    if (getenv("KEO_KEEP_WORKDIR") == nullptr)
        QDir(_path).removeRecursively();
}

QString WorkDir::file(const QString &relative) const {
    return _path + "/" + relative;
}

void WorkDir::write(const QString &relative, const QByteArray &content) const {
    QFile out(file(relative));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        abort();
    out.write(content);
}

QByteArray WorkDir::read(const QString &relative) const {
    QFile in(file(relative));
    if (!in.open(QIODevice::ReadOnly))
        return QByteArray();
    return in.readAll();
}

bool WorkDir::exists(const QString &relative) const {
    return QFile::exists(file(relative));
}

void WorkDir::writeConfig(const QString &server, bool offlineEnabled,
                          const QString &extraAnalytics) const {
    write("app/native/KEOMobileConfig.json",
          QString(R"({"version": "1.0", "analytics": {"rsids": "rsid1", "server": "%1",
              "charset": "UTF-8", "ssl": false, "offlineEnabled": %2%3}})")
              .arg(server, offlineEnabled ? "true" : "false",
                   extraAnalytics.isEmpty() ? "" : ", " + extraAnalytics)
              .toUtf8());
}

void WorkDir::writeDescriptor(const QString &name, const QString &version) const {
    write("app/native/bar-descriptor.xml",
          QString(R"(<qnx xmlns="http://www.qnx.com/schemas/application/1.0"><name>%1</name>)"
                  "<versionNumber>%2</versionNumber></qnx>")
              .arg(name, version)
              .toUtf8());
}

int hitRowsAt(const QString &database) {
    return static_cast<int>(hittable::countQueue(database.toStdString()));
}

int WorkDir::hitRows() const {
    return hitRowsAt(file("data/KEOAnalyticsCache.sqlite"));
}

std::vector<std::string> WorkDir::queuedUrls() const {
    std::vector<std::string> urls;
    for (const hittable::QueuedHit &row :
         hittable::readQueue(file("data/KEOAnalyticsCache.sqlite").toStdString()).rows)
        urls.push_back(row.url);
    return urls;
}

std::string libraryLines(const std::string &output) {
    std::istringstream in(output);
    std::string kept;
    for (std::string line; std::getline(in, line);)
        if (line.rfind("KEOMobile ", 0) == 0)
            kept += line + "\n";
    return kept;
}

void inChild(const std::function<void()> &fn) {
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        fn();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child failed (above)";
}

size_t countOf(const std::string &text, const std::string &needle) {
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++count;
    return count;
}
