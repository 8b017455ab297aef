#include "SelfProcess.h"

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

using namespace std::chrono;

namespace {
constexpr int kReportFd = 3;
}

SelfProcess::SelfProcess(const std::vector<std::string> &environment) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        abort();
    _read = fds[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], kReportFd);
    std::vector<std::string> entries(environment);
    for (char **e = environ; *e != nullptr; ++e)
        entries.emplace_back(*e); // the first of two equal names wins
    std::vector<char *> envp;
    for (std::string &entry : entries)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    char self[] = "/proc/self/exe";
    char *argv[] = {self, nullptr};
    if (posix_spawn(&_pid, self, &actions, nullptr, argv, envp.data()) != 0)
        abort();
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
}

SelfProcess::~SelfProcess() {
    if (_pid > 0) {
        kill(_pid, SIGKILL);
        waitpid(_pid, nullptr, 0);
    }
    close(_read);
}

bool SelfProcess::readUntil(steady_clock::time_point deadline, std::vector<std::string> &lines,
                            size_t enough) {
    for (;;) {
        if (enough > 0 && lines.size() >= enough)
            return true;
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        if (left <= 0)
            return true;
        pollfd in{_read, POLLIN, 0};
        if (poll(&in, 1, static_cast<int>(left)) <= 0)
            continue;
        char buffer[4096];
        const ssize_t got = read(_read, buffer, sizeof buffer);
        if (got <= 0)
            return false;
        _pending.append(buffer, static_cast<size_t>(got));
        for (size_t end = _pending.find('\n'); end != std::string::npos;
             end = _pending.find('\n')) {
            lines.push_back(_pending.substr(0, end));
            _pending.erase(0, end + 1);
        }
    }
}

void SelfProcess::killAndDrain(std::vector<std::string> &lines) {
    kill(_pid, SIGKILL);
    wait();
    readUntil(steady_clock::now() + seconds(10), lines);
}

int SelfProcess::wait() {
    int status = 0;
    waitpid(_pid, &status, 0);
    _pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void SelfProcess::report(const std::string &line) {
    const std::string text = line + "\n";
    if (write(kReportFd, text.data(), text.size()) < 0)
        _exit(3);
}

std::vector<std::string> SelfProcess::frozenClock(const std::string &when) {
    const char *asan = getenv("ASAN_OPTIONS");
    // libfaketime must come before the sanitizer's runtime here, which it accepts when told.
    return {"LD_PRELOAD=/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1", "FAKETIME=" + when,
            "FAKETIME_DONT_FAKE_MONOTONIC=1",
            std::string("ASAN_OPTIONS=") + (asan ? std::string(asan) + ":" : "") +
                "verify_asan_link_order=0"};
}
