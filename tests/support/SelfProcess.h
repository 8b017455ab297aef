#pragma once
// A copy of the running test program, started with extra environment entries, for what needs a
// process of its own that may be killed at any moment or run under another clock. The copy's
// main() looks at its environment to take up its role. Its descriptor 3 is a pipe to this side,
// on which it reports lines (one write() per line, kept whole even if the writer dies).
#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

class SelfProcess {
public:
    explicit SelfProcess(const std::vector<std::string> &environment);
    ~SelfProcess(); // kills the copy if it still runs
    SelfProcess(const SelfProcess &) = delete;
    SelfProcess &operator=(const SelfProcess &) = delete;

    // Reads reported lines until the deadline, the end of the pipe or, when enough > 0, until
    // lines holds that many; false at the end of the pipe.
    bool readUntil(std::chrono::steady_clock::time_point deadline, std::vector<std::string> &lines,
                   size_t enough = 0);
    // SIGKILL, then everything the copy reported before it died.
    void killAndDrain(std::vector<std::string> &lines);
    // Waits for the end; the exit status, or -1 after a signal.
    int wait();

    // For the copy: reports one line to the starting side.
    static void report(const std::string &line);
    // Environment entries that put the copy under libfaketime, frozen at `when` (local time of
    // the copy, "YYYY-MM-DD hh:mm:ss"); the monotonic clock stays real.
    static std::vector<std::string> frozenClock(const std::string &when);

private:
    pid_t _pid = -1;
    int _read = -1;
    std::string _pending;
};
