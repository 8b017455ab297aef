// The files the library reads once per process at first use: the configuration
// (app/native/KEOMobileConfig.json) and the platform descriptor (app/native/bar-descriptor.xml).
// Since each is read only once, every input is read in a forked child; the parent fails when the
// child dies by a signal or a sanitizer report. Coverage of the child doesn't reach the fuzzer,
// so this searches around the seeds rather than being guided.
// Input: the configuration text, a line "----", then the descriptor text.
#include "KEOMobileConfig.h"
#include "KEOStatic.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

static void writeFile(const QString &path, const QByteArray &content) {
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        abort();
    out.write(content);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const QString root =
        QDir::tempPath() + QString("/keo-fuzz-startup-%1").arg(static_cast<qint64>(getpid()));
    QDir().mkpath(root + "/app/native");
    QDir().mkpath(root + "/data");
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const int split = input.indexOf("\n----\n");
    writeFile(root + "/app/native/KEOMobileConfig.json", split < 0 ? input : input.left(split));
    writeFile(root + "/app/native/bar-descriptor.xml",
              split < 0 ? QByteArray() : input.mid(split + 6));
    QFile::remove(root + "/data/KEOPreferences.json");

    const pid_t child = fork();
    if (child < 0)
        abort();
    if (child == 0) {
        if (chdir(root.toUtf8().constData()) != 0)
            _exit(2);
        // Every reader of what the two files gave, as the first hits would use them.
        KEOMobileConfig *config = KEOMobileConfig::sharedInstance();
        config->getVersion();
        config->getReportSuiteIDs();
        config->getTrackingServer();
        config->getCharacterSet();
        config->getPointsOfInterest();
        KEOStatic::getApplicationName();
        KEOStatic::getApplicationVersion();
        KEOStatic::getUserAgent();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "reading the startup files failed (status %d)\n", status);
        abort();
    }
    return 0;
}
