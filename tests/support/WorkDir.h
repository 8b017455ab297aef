#pragma once
// A fresh working directory for one test process: <tmp>/data and <tmp>/app/native, made
// current on construction (before any library call, since the library reads the working
// directory when its singletons come into being) and removed on destruction unless
// KEO_KEEP_WORKDIR is set.
#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

class WorkDir {
public:
    WorkDir();
    ~WorkDir();
    WorkDir(const WorkDir &) = delete;
    WorkDir &operator=(const WorkDir &) = delete;

    QString path() const { return _path; }
    // Absolute path of a file relative to the working directory.
    QString file(const QString &relative) const;
    void write(const QString &relative, const QByteArray &content) const;
    QByteArray read(const QString &relative) const;
    bool exists(const QString &relative) const;

    // app/native/KEOMobileConfig.json with an "analytics" section pointing at server.
    // extraAnalytics is spliced into the section as it stands, e.g. "\"ssl\": true".
    void writeConfig(const QString &server, bool offlineEnabled,
                     const QString &extraAnalytics = QString()) const;
    // app/native/bar-descriptor.xml in the platform's namespace.
    void writeDescriptor(const QString &name, const QString &version) const;

    // Rows of HITS, read as the queue inspector reads them; -1 when the table is missing.
    int hitRows() const;
    // URLs of HITS in delivery order.
    std::vector<std::string> queuedUrls() const;

private:
    QString _path;
    QString _previous;
};

// Rows of HITS in the database at that path, read as WorkDir::hitRows does.
int hitRowsAt(const QString &database);

// Only the library's own lines ("KEOMobile ..."), without Qt's debug stream and others.
std::string libraryLines(const std::string &output);
// How often needle stands in text.
size_t countOf(const std::string &text, const std::string &needle);

// Polls condition every `every` until it holds (true) or the timeout has passed (false).
template <typename Condition>
bool waitFor(Condition condition, std::chrono::milliseconds timeout,
             std::chrono::milliseconds every = std::chrono::milliseconds(20)) {
    for (const auto end = std::chrono::steady_clock::now() + timeout; !condition();
         std::this_thread::sleep_for(every))
        if (std::chrono::steady_clock::now() >= end)
            return false;
    return true;
}

// Runs fn in a forked child, which gets singletons of its own: one process per table row for
// what the library reads once per process. The child's failures are printed by the child and
// fail the calling test. Call before the calling process has started any library thread.
void inChild(const std::function<void()> &fn);

// Runs fn and returns what it wrote on standard error / standard output.
template <typename Fn> std::string captureStderr(Fn fn) {
    testing::internal::CaptureStderr();
    fn();
    return testing::internal::GetCapturedStderr();
}
template <typename Fn> std::string captureStdout(Fn fn) {
    testing::internal::CaptureStdout();
    fn();
    return testing::internal::GetCapturedStdout();
}
