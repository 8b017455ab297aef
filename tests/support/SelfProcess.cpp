#include "SelfProcess.h"

#include <QFile>

#include <cstdlib>
#include <unistd.h>

using namespace std::chrono;

SelfProcess::SelfProcess(const std::vector<std::string> &environment, const QStringList &arguments,
                         QProcess::ProcessChannelMode channels, const QString &program) {
    QProcessEnvironment entries = QProcessEnvironment::systemEnvironment();
    for (const std::string &entry : environment) {
        const QString text = QString::fromStdString(entry);
        entries.insert(text.section('=', 0, 0), text.section('=', 1));
    }
    _process.setProcessEnvironment(entries);
    _process.setProcessChannelMode(channels);
    _process.start(program.isEmpty() ? QFile::symLinkTarget("/proc/self/exe") : program, arguments);
    if (!_process.waitForStarted())
        abort();
}

SelfProcess::~SelfProcess() {
    _process.kill();
    _process.waitForFinished();
}

void SelfProcess::readUntil(steady_clock::time_point deadline, std::vector<std::string> &lines,
                            size_t enough) {
    for (;;) {
        while (_process.canReadLine())
            lines.push_back(_process.readLine().chopped(1).toStdString());
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        if ((enough > 0 && lines.size() >= enough) || left <= 0 ||
            (!_process.waitForReadyRead(static_cast<int>(left)) &&
             _process.state() == QProcess::NotRunning && !_process.canReadLine()))
            return;
    }
}

int SelfProcess::wait(int msecs) {
    if (!_process.waitForFinished(msecs)) {
        _process.kill();
        _process.waitForFinished(-1);
    }
    return _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
}

void SelfProcess::send(const std::string &line) {
    _process.write(QByteArray::fromStdString(line + "\n"));
    _process.waitForBytesWritten(-1);
}

void SelfProcess::kill() {
    _process.kill();
    _process.waitForFinished(-1);
}

void SelfProcess::report(const std::string &line) {
    const std::string text = line + "\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
        _exit(3);
}

std::vector<std::string> SelfProcess::fakeClock(const std::string &clock,
                                                const std::vector<std::string> &more) {
    const char *asan = getenv("ASAN_OPTIONS");
    // libfaketime must come before the sanitizer's runtime here, which it accepts when told. Its
    // thread-safe build: the plain one, reading the clock file afresh in two threads at once,
    // now and then gives one of them the real time (a launch under load got StartTime = now).
    std::vector<std::string> entries{
        "LD_PRELOAD=/usr/lib/x86_64-linux-gnu/faketime/libfaketimeMT.so.1", clock,
        "FAKETIME_DONT_FAKE_MONOTONIC=1",
        std::string("ASAN_OPTIONS=") + (asan ? std::string(asan) + ":" : "") +
            "verify_asan_link_order=0"};
    entries.insert(entries.end(), more.begin(), more.end());
    return entries;
}
