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
    // Commits mark with the calling thread's next stored hit, in one transaction, so that the
    // hit and its mark are both in the table or neither is (0 takes it back). Any thread.
    static void markNextInsert(int mark);
    // The mark of the last hit stored with one, by any process sharing the table; 0 for none.
    // Any thread.
    int lastMark();

private:
    KEOAnalyticsWorker();
};
