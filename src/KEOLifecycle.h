#pragma once
// Launches and sessions. Every return of the application to the foreground is either the
// resume of the running session (nothing sent) or a new launch, which sends one "Lifecycle"
// hit with the launch metrics and starts a new session. Nothing is kept in memory: the
// session, the counters and the crash flag live in the preferences store, so they survive a
// kill of the process.
// The application, not the process, is launched and used: while any of the processes that share
// data/ is in front, another that comes to the front joins the session, and one that leaves it
// begins no pause. Which processes are in front, and which died there, KEOLifecycleRegistry knows.
class KEOLifecycle {
public:
    KEOLifecycle() = delete;

    // The application came to the foreground. Called by KEONotificationHandler on its own
    // thread only; start and stop must never run at the same time.
    static void start();
    // The application left the foreground: records a clean close and its time, unless another
    // process stays in front. Same thread as start.
    static void stop();
};
