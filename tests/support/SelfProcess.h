#pragma once
// A copy of the running test program, started with extra environment entries, for what needs a
// process of its own that may be killed at any moment or run under another clock. The copy's
// main() looks at its environment (or its arguments) to take up its role, and reports lines on its
// standard output (one write() per line, kept whole even if the writer dies); its standard error
// is this one's unless the channels are merged.
#include <QProcess>

#include <chrono>
#include <string>
#include <vector>

class SelfProcess {
public:
    explicit SelfProcess(const std::vector<std::string> &environment,
                         const QStringList &arguments = {},
                         QProcess::ProcessChannelMode channels = QProcess::ForwardedErrorChannel,
                         const QString &program = QString()); // another program than this one
    ~SelfProcess();                                           // kills the copy if it still runs

    // Reads reported lines until the deadline, the copy's end or, when enough > 0, until lines
    // holds that many.
    void readUntil(std::chrono::steady_clock::time_point deadline, std::vector<std::string> &lines,
                   size_t enough = 0);
    // Waits for the end, killing the copy after msecs (-1: no limit); the exit status, or -1
    // after a signal.
    int wait(int msecs = -1);
    // Writes one line to the copy's standard input.
    void send(const std::string &line);
    // Ends the copy with SIGKILL and waits for its end.
    void kill();
    // All the copy wrote that was not read as reported lines.
    QByteArray output() { return _process.readAll(); }

    // For the copy: reports one line to the starting side.
    static void report(const std::string &line);
    // Environment entries that put the copy under libfaketime with `clock`, "FAKETIME=<local time
    // of the copy, YYYY-MM-DD hh:mm:ss>" or "FAKETIME_TIMESTAMP_FILE=<path>"; the monotonic clock
    // stays real, so timers, time-outs and sleeps keep their length. More entries follow.
    static std::vector<std::string> fakeClock(const std::string &clock,
                                              const std::vector<std::string> &more = {});

private:
    QProcess _process;
};
