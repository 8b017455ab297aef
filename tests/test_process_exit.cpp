// An application may end at any moment, also while the library's own threads are busy: the
// worker starting its first pass, a media monitor about to tick. The exit handlers then run
// beside those threads, and the process must still end with the application's own status, with
// no fault and, in the sanitizer builds, no report.
#include "KEOMediaAnalytics.h"
#include "KEOMobile.h"
#include "WorkDir.h"

#include <thread>

#include <sys/wait.h>
#include <unistd.h>

TEST(ProcessExit, ExitWhileTheWorkerStartsAndAMonitorRunsEndsWithTheApplicationsStatus) {
    WorkDir dir;
    dir.writeConfig("127.0.0.1:9", true); // nothing listens: each pass fails and keeps its rows
    for (int run = 0; run < 40; ++run) {
        const pid_t child = fork();
        ASSERT_NE(child, -1);
        if (child == 0) { // a hit starts the worker, a playing item a monitor
            KEOMobile::trackState("Last screen", {{"reason", "quit"}});
            KEOMediaAnalytics::sharedInstance()->open("Trailer", 30, "Player", "");
            KEOMediaAnalytics::sharedInstance()->play("Trailer", 0);
            // Most end at once; every fourth in the monitor's first second and the retries.
            std::this_thread::sleep_for(
                std::chrono::milliseconds(run % 4 == 3 ? run * 37 % 1100 : 0));
            std::exit(7);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7)
            << "run " << run << ": status " << status;
    }
}
