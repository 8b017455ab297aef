// The files read once per process at first use: the configuration and the platform descriptor.
// Each input is read in a forked child (coverage doesn't reach the fuzzer from there, so this
// searches around the seeds); the parent fails when the child dies by a signal or a report.
// Input: the configuration text, a line "----", then the descriptor text.
#include "KEOMobileConfig.h"
#include "KEOStatic.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <sys/wait.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const QString root = QDir::tempPath() + QString("/keo-fuzz-startup-%1").arg(getpid());
    QDir().mkpath(root + "/app/native");
    QDir().mkpath(root + "/data");
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const int split = input.indexOf("\n----\n");
    for (const auto &[name, text] : {std::pair{"KEOMobileConfig.json", input.left(split)},
                                     std::pair{"bar-descriptor.xml", input.mid(split + 6)}}) {
        QFile out(root + "/app/native/" + name);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(text) < 0)
            abort();
    }
    QFile::remove(root + "/data/KEOPreferences.json");
    const pid_t child = fork();
    if (child == 0) { // every reader of the two files, as the first hits use them
        if (chdir(root.toUtf8().constData()) != 0)
            _exit(2);
        KEOMobileConfig *config = KEOMobileConfig::sharedInstance();
        config->getVersion() + config->getReportSuiteIDs() + config->getTrackingServer() +
            config->getCharacterSet() + KEOStatic::getApplicationID() + KEOStatic::getUserAgent();
        config->getPointsOfInterest();
        _exit(0);
    }
    int status = 0;
    pid_t waited = -1;
    // libFuzzer's once-a-second timer interrupts the wait; that is no verdict on the child.
    do
        waited = child < 0 ? -1 : waitpid(child, &status, 0);
    while (waited < 0 && errno == EINTR);
    if (waited != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        abort();
    return 0;
}
