#include "HitServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace collector {

namespace {

// A request line up to this length goes to httplib as it came; well under its 8,192.
constexpr size_t kPassedLine = 4096;
// Where the real target of a long request line waits while httplib parses the stand-in.
const char *kStandIn = "/.long-request-line";
// Bytes asked of the socket at once: headers come in one read, a long request line in few.
constexpr size_t kReadChunk = 64 * 1024;
// How often a connection waiting for its next request looks whether the server stops.
constexpr int kStopCheckMs = 50;
// Leaves threads for hits while the view's event streams hold theirs (at most four).
constexpr size_t kPoolThreads = 12;

const char *k414 = "HTTP/1.1 414 URI Too Long\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

int toMs(time_t sec, time_t usec) {
    return static_cast<int>(sec * 1000 + usec / 1000);
}

bool waitFor(int sock, short events, int timeoutMs) {
    pollfd entry{sock, events, 0};
    int ready;
    do
        ready = poll(&entry, 1, timeoutMs);
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

void address(const sockaddr_storage &storage, std::string &ip, int &port) {
    char text[INET6_ADDRSTRLEN] = "";
    // Copied out rather than cast, so that no object is read through another type.
    if (storage.ss_family == AF_INET) {
        sockaddr_in in{};
        std::memcpy(&in, &storage, sizeof(in));
        inet_ntop(AF_INET, &in.sin_addr, text, sizeof(text));
        port = ntohs(in.sin_port);
    } else if (storage.ss_family == AF_INET6) {
        sockaddr_in6 in6{};
        std::memcpy(&in6, &storage, sizeof(in6));
        inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof(text));
        port = ntohs(in6.sin6_port);
    }
    ip = text;
}

// The server's side of one connection, buffered so that a request line can be read ahead of
// httplib and rewritten before httplib reads it.
class ConnectionStream : public httplib::Stream {
public:
    ConnectionStream(socket_t sock, int readTimeoutMs, int writeTimeoutMs)
        : _sock(sock), _readTimeoutMs(readTimeoutMs), _writeTimeoutMs(writeTimeoutMs) {}

    enum class Line { Ready, Closed, TooLong };

    // Reads the next request line into the buffer. A long one is replaced there by the same
    // method and version around kStandIn, its real target going to longTarget.
    Line nextRequestLine(std::string &longTarget) {
        _buffer.erase(0, _pos);
        _pos = 0;
        size_t end;
        size_t searched = 0; // a line of megabytes is searched once, not once per read
        while ((end = _buffer.find('\n', searched)) == std::string::npos) {
            if (_buffer.size() > kMaxRequestLine)
                return Line::TooLong;
            searched = _buffer.size();
            if (!fill(_readTimeoutMs))
                return Line::Closed;
        }
        if (end > kMaxRequestLine)
            return Line::TooLong;
        if (end < kPassedLine)
            return Line::Ready;
        const size_t first = _buffer.find(' ');
        const size_t last = _buffer.rfind(' ', end);
        // Not "METHOD TARGET VERSION": httplib answers it as the malformed request it is.
        if (first == std::string::npos || last <= first)
            return Line::Ready;
        longTarget = _buffer.substr(first + 1, last - first - 1);
        _buffer.replace(first + 1, last - first - 1, kStandIn);
        return Line::Ready;
    }

    // Waits up to timeoutMs for the next request, giving up early once stopping() says so.
    template <typename Stopping> bool waitForRequest(int timeoutMs, Stopping stopping) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (_pos == _buffer.size()) {
            if (stopping() || std::chrono::steady_clock::now() >= deadline)
                return false;
            if (waitFor(_sock, POLLIN, kStopCheckMs))
                return true;
        }
        return true;
    }

    bool is_readable() const override {
        return _pos < _buffer.size() || waitFor(_sock, POLLIN, _readTimeoutMs);
    }
    bool is_writable() const override { return waitFor(_sock, POLLOUT, _writeTimeoutMs); }

    ssize_t read(char *ptr, size_t size) override {
        if (_pos == _buffer.size()) {
            _buffer.clear();
            _pos = 0;
            if (!fill(_readTimeoutMs))
                return -1;
        }
        const size_t n = std::min(size, _buffer.size() - _pos);
        std::memcpy(ptr, _buffer.data() + _pos, n);
        _pos += n;
        return static_cast<ssize_t>(n);
    }

    ssize_t write(const char *ptr, size_t size) override {
        if (!is_writable())
            return -1;
        ssize_t sent;
        // MSG_NOSIGNAL: a client that went away gives EPIPE, never SIGPIPE to the host.
        do
            sent = send(_sock, ptr, size, MSG_NOSIGNAL);
        while (sent < 0 && errno == EINTR);
        return sent;
    }

    void get_remote_ip_and_port(std::string &ip, int &port) const override {
        sockaddr_storage storage{};
        socklen_t length = sizeof(storage);
        if (getpeername(_sock, reinterpret_cast<sockaddr *>(&storage), &length) == 0)
            address(storage, ip, port);
    }
    void get_local_ip_and_port(std::string &ip, int &port) const override {
        sockaddr_storage storage{};
        socklen_t length = sizeof(storage);
        if (getsockname(_sock, reinterpret_cast<sockaddr *>(&storage), &length) == 0)
            address(storage, ip, port);
    }
    socket_t socket() const override { return _sock; }

private:
    // Appends what the socket has; false on end of stream, error or time-out.
    bool fill(int timeoutMs) {
        if (!waitFor(_sock, POLLIN, timeoutMs))
            return false;
        const size_t had = _buffer.size();
        _buffer.resize(had + kReadChunk);
        ssize_t got;
        do
            got = recv(_sock, &_buffer[had], kReadChunk, 0);
        while (got < 0 && errno == EINTR);
        _buffer.resize(had + static_cast<size_t>(std::max<ssize_t>(got, 0)));
        return got > 0;
    }

    socket_t _sock;
    int _readTimeoutMs;
    int _writeTimeoutMs;
    std::string _buffer; // read from the socket, not yet given to httplib from _pos on
    size_t _pos = 0;
};

} // namespace

HitServer::HitServer() {
    new_task_queue = [] { return new httplib::ThreadPool(kPoolThreads); };
}

// The same keep-alive loop as httplib's own, around a stream that can rewrite request lines.
bool HitServer::process_and_close_socket(socket_t sock) {
    sockaddr_storage peer{};
    socklen_t length = sizeof(peer);
    std::string ip;
    int port = -1;
    if (getpeername(sock, reinterpret_cast<sockaddr *>(&peer), &length) == 0)
        address(peer, ip, port);
    {
        std::lock_guard<std::mutex> lock(_connectionsMutex);
        _connections[sock] = port;
    }
    ConnectionStream stream(sock, toMs(read_timeout_sec_, read_timeout_usec_),
                            toMs(write_timeout_sec_, write_timeout_usec_));
    const auto stopping = [this] { return svr_sock_ == INVALID_SOCKET; };
    bool ok = false;
    for (size_t left = keep_alive_max_count_; left > 0; --left) {
        if (!stream.waitForRequest(toMs(keep_alive_timeout_sec_, 0), stopping))
            break;
        std::string longTarget;
        const ConnectionStream::Line line = stream.nextRequestLine(longTarget);
        if (line == ConnectionStream::Line::TooLong)
            stream.write(k414, std::strlen(k414));
        if (line != ConnectionStream::Line::Ready)
            break;
        bool closed = false;
        ok = process_request(stream, left == 1, closed, [&longTarget](httplib::Request &req) {
            if (!longTarget.empty())
                req.target = longTarget;
        });
        if (!ok || closed)
            break;
    }
    {
        std::lock_guard<std::mutex> lock(_connectionsMutex);
        _connections.erase(sock);
    }
    shutdown(sock, SHUT_RDWR);
    close(sock);
    return ok;
}

void HitServer::shutdownConnections(int remotePort, int how) {
    std::lock_guard<std::mutex> lock(_connectionsMutex);
    for (const auto &connection : _connections)
        if (remotePort < 0 || connection.second == remotePort)
            shutdown(connection.first, how);
}

} // namespace collector
