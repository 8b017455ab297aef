#pragma once
// The store and delivery of hits: every hit is a row of HITS in data/KEOAnalyticsCache.sqlite
// from queue() until the worker thread has dealt with it, so hits outlive the process.
// One worker thread at a time sends the rows oldest first; it starts when a hit is queued
// and ends when the table is empty.
#include <QByteArray>
#include <QString>

class KEOAnalyticsWorker {
public:
    // The singleton, made with the first hit of a process; making it opens the database and
    // starts a worker for rows left by an earlier run. Never destroyed. Any thread.
    static KEOAnalyticsWorker *sharedInstance();
    virtual ~KEOAnalyticsWorker();

    // Stores one hit URL with the current time and makes sure a worker is running.
    // Any thread; never blocks on the network.
    void queue(QString url);
    // The same for a URL already in UTF-8, the form the table stores; url is only read.
    void queueUtf8(const QByteArray &url);

private:
    KEOAnalyticsWorker();
};
