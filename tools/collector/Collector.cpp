#include "Collector.h"
#include "HitServer.h"
#include "WebView.h"

#include <httplib.h>

#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace collector {

namespace {

const char *kHost = "127.0.0.1";
constexpr int kDefaultDelayMs = 12000;
constexpr int kDefaultSlowMs = 2000;
constexpr int kDefaultStatus = 500;
// Each open event stream holds a server thread; more would leave hits waiting for one.
constexpr int kMaxEventStreams = 4;
// Hits per chunk of an event stream, so that a page opened late gets its backlog in pieces.
constexpr size_t kEventBatch = 200;
// The view's files and its stream may not be framed, cached or run script from elsewhere.
const char *kViewPolicy = "default-src 'none'; script-src 'self'; style-src 'self'; "
                          "connect-src 'self'; img-src 'self' data:; base-uri 'none'; "
                          "form-action 'none'; frame-ancestors 'none'";

void setViewHeaders(httplib::Response &res) {
    res.set_header("Content-Security-Policy", kViewPolicy);
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_header("Cache-Control", "no-store");
    res.set_header("Referrer-Policy", "no-referrer");
}

// What an event stream resumes from: the browser sends the last number it got on reconnecting.
uint64_t firstWanted(const httplib::Request &req) {
    const std::string last = req.get_header_value("Last-Event-ID");
    char *end = nullptr;
    const unsigned long long seq = std::strtoull(last.c_str(), &end, 10);
    return !last.empty() && *end == '\0' && seq < UINT64_MAX ? seq + 1 : 0;
}

int normalisedParam(Fault fault, int param) {
    switch (fault) {
    case Fault::Delay:
        return param > 0 ? param : kDefaultDelayMs;
    case Fault::Slow:
        return param > 0 ? param : kDefaultSlowMs;
    case Fault::HttpError:
        // A status outside 100..599 can't be written on a status line.
        return param >= 100 && param <= 599 ? param : kDefaultStatus;
    default:
        return 0;
    }
}

} // namespace

const char *faultName(Fault fault) {
    switch (fault) {
    case Fault::None:
        return "none";
    case Fault::Refuse:
        return "refuse";
    case Fault::Delay:
        return "delay";
    case Fault::HttpError:
        return "status";
    case Fault::CloseConnection:
        return "close";
    case Fault::Slow:
        return "slow";
    }
    return "none";
}

struct Collector::Server {
    HitServer http;
};

struct Collector::EventCursor {
    uint64_t next = 0; // view number of the next hit to send
    bool started = false;
    std::atomic<bool> released{false};
};

Collector::Collector(int port) : _port(port) {}

Collector::~Collector() {
    stop();
}

bool Collector::start() {
    std::lock_guard<std::mutex> control(_control);
    if (_started)
        return true;
    if (!listen())
        return false;
    _started = true;
    Fault fault;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        fault = _fault;
    }
    // The port had to be bound to be known; a refusing collector then lets go of it at once.
    if (fault == Fault::Refuse)
        stopListening();
    return true;
}

void Collector::stop() {
    std::lock_guard<std::mutex> control(_control);
    if (_server)
        stopListening();
    _started = false;
}

int Collector::port() const {
    return _port.load();
}

std::string Collector::baseServer() const {
    return std::string(kHost) + ":" + std::to_string(port());
}

std::string Collector::viewUrl() const {
    return "http://" + baseServer() + "/";
}

std::vector<Hit> Collector::hits() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _hits;
}

size_t Collector::count() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _hits.size();
}

bool Collector::waitForHits(size_t n, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(_mutex);
    return _hitsChanged.wait_for(lock, timeout, [&] { return _hits.size() >= n; });
}

void Collector::clear() {
    std::lock_guard<std::mutex> lock(_mutex);
    _firstSeq += _hits.size();
    _hits.clear();
}

bool Collector::setFault(Fault fault, int param) {
    std::lock_guard<std::mutex> control(_control);
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _fault = fault;
        _faultParam = normalisedParam(fault, param);
    }
    if (!_started)
        return true;
    if (fault == Fault::Refuse) {
        if (_server)
            stopListening();
        return true;
    }
    return _server || listen();
}

bool Collector::listen() {
    auto server = std::make_unique<Server>();
    httplib::Server &http = server->http;
    // Only SO_REUSEADDR: rebinding the same port right after Refuse must work while old
    // connections sit in TIME_WAIT, but a port another process listens on must stay taken
    // (httplib's default SO_REUSEPORT would share it silently).
    http.set_socket_options([](socket_t sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    http.set_pre_routing_handler([this](const httplib::Request &req, httplib::Response &res) {
        Hit hit;
        hit.receivedAt = std::chrono::system_clock::now();
        hit.method = req.method;
        // req.path is already decoded and req.params turns "+" into a blank; the wire text is
        // what is under test, so take the raw target.
        splitUrl(req.target, hit.path, hit.rawQuery);
        if (isViewPath(hit.path)) {
            serveView(req, hit.path, res);
            return httplib::Server::HandlerResponse::Handled;
        }
        hit.userAgent = req.get_header_value("User-Agent");
        hit.acceptLanguage = req.get_header_value("Accept-Language");
        int status = 200;
        handle(std::move(hit), req.remote_port, status);
        res.status = status;
        return httplib::Server::HandlerResponse::Handled;
    });

    int port = _port.load();
    if (port == 0) {
        port = http.bind_to_any_port(kHost);
        if (port <= 0)
            return false;
        _port = port;
    } else if (!http.bind_to_port(kHost, port)) {
        return false;
    }

    httplib::Server *raw = &http;
    auto finished = std::make_shared<std::atomic<bool>>(false);
    _listener = std::thread([raw, finished] {
        // The worker threads inherit this mask: answering a connection that the client or
        // CloseConnection has already shut must give EPIPE, not kill the process with SIGPIPE.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        raw->listen_after_bind();
        *finished = true;
    });
    // httplib's stop() does nothing until the accept loop runs, so don't hand out a server that
    // could not be stopped. The socket already listens: connects made meanwhile are queued.
    while (!http.is_running() && !*finished)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!http.is_running()) {
        _listener.join();
        return false;
    }
    _server = std::move(server);
    return true;
}

void Collector::stopListening() {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _interrupting = true;
    }
    _interrupt.notify_all();
    _hitsChanged.notify_all(); // ends the view's event streams
    _server->http.stop();
    // httplib keeps idle keep-alive connections for seconds and its stop() waits for them.
    // Shutting their reading side ends them now, while an answer being written still goes out.
    _server->http.shutdownConnections(-1, SHUT_RD);
    _listener.join();
    _server.reset();
    std::lock_guard<std::mutex> lock(_mutex);
    _interrupting = false;
}

void Collector::handle(Hit hit, int remotePort, int &status) {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        hit.fault = _fault;
        hit.faultParam = _faultParam;
    }
    hit.decoded = decodeHit(hit.path, hit.rawQuery);
    const Fault fault = hit.fault;
    const int param = hit.faultParam;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _hits.push_back(hit);
    }
    _hitsChanged.notify_all();
    if (onHit)
        onHit(hit);

    switch (fault) {
    case Fault::None:
        status = 200;
        break;
    case Fault::HttpError:
        status = param;
        break;
    case Fault::Delay:
    case Fault::Slow: {
        std::unique_lock<std::mutex> lock(_mutex);
        _interrupt.wait_for(lock, std::chrono::milliseconds(param), [&] { return _interrupting; });
        status = 200;
        break;
    }
    case Fault::CloseConnection:
    case Fault::Refuse: // accepted just before listening stopped: as good as refused
        _server->http.shutdownConnections(remotePort, SHUT_RDWR);
        status = 200; // goes nowhere: the socket is shut
        break;
    }
}

void Collector::serveView(const httplib::Request &req, const std::string &path,
                          httplib::Response &res) {
    setViewHeaders(res);
    if (!isLoopbackHost(req.get_header_value("Host"))) {
        res.status = 403;
        res.set_content("The view answers only to localhost, 127.0.0.1 and [::1].\n",
                        "text/plain; charset=utf-8");
        return;
    }
    if (req.method != "GET" && req.method != "HEAD") {
        res.status = 405;
        return;
    }
    if (const WebAsset *asset = findAsset(path)) {
        res.set_content(reinterpret_cast<const char *>(asset->data), asset->size,
                        asset->contentType);
        return;
    }
    if (path != "/view/events") {
        res.status = 404;
        return;
    }
    {
        std::lock_guard<std::mutex> lock(_mutex);
        if (_eventStreams >= kMaxEventStreams) {
            res.status = 503;
            return;
        }
        ++_eventStreams;
    }
    auto cursor = std::make_shared<EventCursor>();
    cursor->next = firstWanted(req);
    res.set_chunked_content_provider(
        "text/event-stream",
        [this, cursor](size_t, httplib::DataSink &sink) {
            std::string chunk;
            if (!nextEvents(*cursor, chunk)) {
                sink.done();
                return true;
            }
            // False when the page went away: httplib then closes the connection.
            return sink.write(chunk.data(), chunk.size());
        },
        [this, cursor](bool) {
            // Once per stream, even if httplib copied the response that holds this.
            if (cursor->released.exchange(true))
                return;
            std::lock_guard<std::mutex> lock(_mutex);
            --_eventStreams;
        });
}

bool Collector::nextEvents(EventCursor &cursor, std::string &chunk) {
    std::vector<std::pair<uint64_t, Hit>> batch; // copies, turned into text outside the lock
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (cursor.started)
            _hitsChanged.wait_for(lock, std::chrono::seconds(1), [&] {
                return _interrupting || _firstSeq + _hits.size() > cursor.next;
            });
        if (_interrupting)
            return false;
        // Hits cleared before they were sent are not sent.
        cursor.next = std::max(cursor.next, _firstSeq);
        for (size_t i = cursor.next - _firstSeq; i < _hits.size() && batch.size() < kEventBatch;
             ++i)
            batch.emplace_back(_firstSeq + i, _hits[i]);
    }
    chunk.clear();
    if (!cursor.started) {
        // A page whose stream broke asks again after a second, from where it was.
        chunk = "retry: 1000\n\n";
        cursor.started = true;
    }
    for (const auto &entry : batch) {
        chunk += eventText(entry.second, entry.first);
        cursor.next = entry.first + 1;
    }
    if (chunk.empty())
        chunk = ":\n\n"; // a comment line: finds a page that went away within a second
    return true;
}

} // namespace collector
