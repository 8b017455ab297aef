#include "WorkDir.h"

#include <QDir>
#include <QFile>

#include <sqlite3.h>

#include <cstdlib>
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
    QString json = QString("{\n  \"version\": \"1.0\",\n  \"analytics\": {\n"
                           "    \"rsids\": \"rsid1\",\n    \"server\": \"%1\",\n"
                           "    \"charset\": \"UTF-8\",\n    \"ssl\": false,\n"
                           "    \"offlineEnabled\": %2")
                       .arg(server, offlineEnabled ? "true" : "false");
    if (!extraAnalytics.isEmpty())
        json += ",\n    " + extraAnalytics;
    json += "\n  }\n}\n";
    write("app/native/KEOMobileConfig.json", json.toUtf8());
}

void WorkDir::writeDescriptor(const QString &name, const QString &version) const {
    const QString xml = QString("<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"no\"?>\n"
                                "<qnx xmlns=\"http://www.qnx.com/schemas/application/1.0\">\n"
                                "  <id>com.example.app</id>\n  <name>%1</name>\n"
                                "  <versionNumber>%2</versionNumber>\n</qnx>\n")
                            .arg(name, version);
    write("app/native/bar-descriptor.xml", xml.toUtf8());
}

int WorkDir::hitRows() const {
    sqlite3 *db = nullptr;
    const QByteArray path = file("data/KEOAnalyticsCache.sqlite").toUtf8();
    if (sqlite3_open_v2(path.constData(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        return -1;
    }
    sqlite3_stmt *statement = nullptr;
    int rows = -1;
    if (sqlite3_prepare_v2(db, "SELECT COUNT(*) FROM HITS", -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW)
        rows = sqlite3_column_int(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

std::string libraryLines(const std::string &output) {
    std::string kept;
    size_t start = 0;
    while (start < output.size()) {
        size_t end = output.find('\n', start);
        if (end == std::string::npos)
            end = output.size() - 1;
        const std::string line = output.substr(start, end - start + 1);
        if (line.rfind("KEOMobile ", 0) == 0)
            kept += line;
        start = end + 1;
    }
    return kept;
}
