// An application may end at any moment, also while the library's own threads are busy: the
// worker starting its first pass, a media monitor about to tick. The process's exit handlers
// then run beside those threads, and the process must still end with the application's own
// status, with no fault and, in the sanitizer builds, no report.
#include "KEOMediaAnalytics.h"
#include "KEOMobile.h"
#include "WorkDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kRuns = 40;
constexpr int kApplicationStatus = 7;

// The child: one hit (which starts the worker), one playing item (which starts a monitor), then
// the application's exit, at once or after the monitor has ticked for a while.
[[noreturn]] void trackAndExit(int delayMs) {
    KEOMobile::trackState("Last screen", {{"reason", "quit"}});
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->open("Trailer", 30, "Player", "");
    media->play("Trailer", 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    std::exit(kApplicationStatus);
}

TEST(ProcessExit, ExitWhileTheWorkerStartsAndAMonitorRunsEndsWithTheApplicationsStatus) {
    WorkDir dir;
    // Nothing listens there: the worker's pass fails at once and keeps its rows.
    dir.writeConfig("127.0.0.1:9", true);
    for (int run = 0; run < kRuns; ++run) {
        const pid_t child = fork();
        ASSERT_NE(child, -1);
        // Most runs end at once, where the worker is starting; every fourth lands somewhere in
        // the monitor's first second of ticks and the worker's retries.
        if (child == 0)
            trackAndExit(run % 4 == 3 ? (run * 37) % 1100 : 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status))
            << "run " << run << " ended by signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
        ASSERT_EQ(WEXITSTATUS(status), kApplicationStatus) << "run " << run;
    }
}

} // namespace
