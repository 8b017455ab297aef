// Read-only view of an application's hit table, for the queue inspector, the demo and the tests. It
// opens its own connection with SQLITE_OPEN_READONLY: the library keeps the database in
// write-ahead-log mode, so a reader never blocks the running application and never changes a row.
#pragma once

#include <string>
#include <vector>

namespace hittable {

// One row of HITS as stored: the identifier orders delivery, the time is when it was queued.
struct QueuedHit {
    long long id = 0;
    std::string url;
    long long timestamp = 0; // seconds since 1970
};

// What one read of the table found. Plain value type.
struct QueueSnapshot {
    bool ok = false;             // the table could be read
    std::string error;           // why not, when !ok
    std::string path;            // the database file that was read
    std::vector<QueuedHit> rows; // oldest (lowest ID) first
    // Rows ever inserted, from the AUTOINCREMENT counter, which outlives deletions; 0 when the
    // table never held a row.
    long long everQueued = 0;
};

// The database an inspector argument names: a database file as it stands, a data directory
// holding KEOAnalyticsCache.sqlite, or an application working directory (its
// data/KEOAnalyticsCache.sqlite). Any thread.
std::string resolveQueuePath(const std::string &argument);

// Reads every row of HITS in delivery order. Never writes, never creates the file. Any thread;
// each call uses a connection of its own and closes it before returning.
QueueSnapshot readQueue(const std::string &dbPath);

// Rows in HITS, or -1 when the table can't be read. Cheaper than readQueue for polling.
long long countQueue(const std::string &dbPath);

} // namespace hittable
