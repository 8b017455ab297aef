// Loopback collection server: receives hits on 127.0.0.1, records and decodes them, and can
// misbehave on purpose so that delivery can be tested against refusals, time-outs and errors.
// Beside the collection paths it serves a live view of the hits for a browser: the page at "/",
// its files under "/view/" and its event stream at "/view/events". Every other path is
// collection, open to any Host as a collection server's is; the view answers only a Host that
// names the loopback interface, so that no page elsewhere can read hits through DNS rebinding.
#pragma once

#include "HitDecoder.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace collector {

// How the server treats the requests that arrive from now on.
enum class Fault {
    None,            // answer 200 with an empty body
    Refuse,          // stop listening: connects fail with ECONNREFUSED (curl error 7)
    Delay,           // wait param ms (default 12000, past the sender's 10 s time-out), then 200
    HttpError,       // answer status param (default 500), empty body
    CloseConnection, // close the connection without sending a byte (curl error 52)
    Slow,            // wait param ms (default 2000, within the time-out), then 200
};

// "none", "refuse", "delay", "status", "close", "slow"; the words of the program's --fault.
const char *faultName(Fault fault);

// One request as received. Plain value type; copies are independent.
struct Hit {
    std::chrono::system_clock::time_point receivedAt;
    std::string method;   // "GET" for every hit the sender makes
    std::string path;     // raw, still percent-encoded
    std::string rawQuery; // raw text after "?", empty when there was none
    std::string userAgent;
    std::string acceptLanguage;
    Fault fault = Fault::None; // how the server treated this request
    int faultParam = 0;        // the milliseconds or status that went with `fault`
    DecodedHit decoded;
};

// Readable multi-line text: request line, headers, path pieces, pairs, then the context tree
// indented by level. Ends with a newline. Any thread.
std::string toText(const Hit &hit);
// One JSON object on one line, no trailing newline, with the hit's "kind" and "title" as the
// demo names them. Strings are escaped as JSON requires; bytes that aren't valid UTF-8 become
// U+FFFD. Any thread.
std::string toJsonLine(const Hit &hit);

class Collector {
public:
    // port 0: start() picks a free port on 127.0.0.1 and keeps it for later restarts.
    explicit Collector(int port = 0);
    // Stops the server; waits for handlers in progress (delays are cut short).
    ~Collector();
    Collector(const Collector &) = delete;
    Collector &operator=(const Collector &) = delete;

    // Binds 127.0.0.1:port and serves from a thread of its own. False when the port can't be
    // bound. True at once when already started. Call from the owning thread, not from onHit.
    bool start();
    // Stops listening and closes idle connections; a waiting Delay or Slow answer is cut short.
    // Recorded hits and the fault setting stay. Owning thread, not from onHit.
    void stop();

    // The bound port (0 before the first successful start). Any thread.
    int port() const;
    // "127.0.0.1:PORT", to be used as the tracking server. Any thread.
    std::string baseServer() const;
    // "http://127.0.0.1:PORT/", the live view for a browser. Any thread.
    std::string viewUrl() const;

    // Copy of every hit recorded since construction or clear(), in arrival order. Any thread.
    std::vector<Hit> hits() const;
    size_t count() const;
    // Blocks until at least n hits are recorded or the time-out passes; true if n were reached.
    // Any thread except the server's own (onHit).
    bool waitForHits(size_t n, std::chrono::milliseconds timeout) const;
    // Empties the record; an open view keeps what it shows and goes on with the next hit.
    void clear(); // any thread

    // Applies to requests arriving from now on. param <= 0 takes the fault's default. Switching
    // to Refuse closes the listening socket and every open connection; switching away from it
    // listens again on the same port. Returns false only if that re-listen fails (port taken).
    // If not started, the setting waits for start(). Owning thread, not from onHit.
    bool setFault(Fault fault, int param = 0);

    // Optional, called on a server thread for each hit right after it is recorded and before the
    // fault is applied. Several may run at once. Set it before start(); it must not throw, and
    // must not call start(), stop() or setFault().
    std::function<void(const Hit &)> onHit;

private:
    struct Server;
    struct EventCursor;

    bool listen();        // with _control held
    void stopListening(); // with _control held
    void handle(Hit hit, int remotePort, int &status);
    // Answers a request for one of the view's paths: the page, its files, its event stream.
    void serveView(const httplib::Request &req, const std::string &path, httplib::Response &res);
    // Fills the event stream's next chunk: hits after the cursor, or a keep-alive comment when
    // none came within a second. False once listening stops. On a server thread.
    bool nextEvents(EventCursor &cursor, std::string &chunk);

    std::atomic<int> _port;
    std::mutex _control; // serialises start, stop and setFault
    bool _started = false;
    std::unique_ptr<Server> _server; // set while listening
    std::thread _listener;

    mutable std::mutex _mutex; // guards everything below
    mutable std::condition_variable _hitsChanged;
    std::condition_variable _interrupt; // wakes Delay and Slow answers when listening stops
    std::vector<Hit> _hits;
    uint64_t _firstSeq = 1; // the view's number of _hits[0]; never reused after clear()
    int _eventStreams = 0;  // open event streams, each holding a server thread
    Fault _fault = Fault::None;
    int _faultParam = 0;
    bool _interrupting = false;
};

} // namespace collector
