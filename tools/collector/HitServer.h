// An httplib server that takes request lines of any length a sender can write.
//
// The hit is all in the request line, and the sender puts no limit on its length, but Debian's
// cpp-httplib is a compiled library whose request reader answers 414 to any request line over
// CPPHTTPLIB_REQUEST_URI_MAX_LENGTH (8,192 bytes, fixed when the library was built; defining the
// macro here changes nothing). This server therefore runs each connection itself: it reads every
// request line first, hands httplib a short stand-in for a long one, and puts the real target
// back into the request before any handler sees it.
#pragma once

#include <httplib.h>

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace collector {

// Longest request line taken, bytes. libcurl, the sender's HTTP client, writes no request over
// 1 MiB, so no hit comes near it; a longer line is answered 414 without being read to its end,
// so that a client can't make the server buffer without bound.
constexpr size_t kMaxRequestLine = 16u * 1024u * 1024u;

class HitServer : public httplib::Server {
public:
    // A server whose pool has threads for hits beside the view's event streams. Made, set up and
    // listened on by its owner's thread; httplib runs the connections on the pool.
    HitServer();

    // Shuts the given direction (SHUT_RD, SHUT_RDWR) of every open connection, or only of the
    // connection from remotePort when it is not negative. Any thread.
    void shutdownConnections(int remotePort, int how);

private:
    // Called by httplib on one of its pool threads for each accepted connection; owns sock and
    // closes it before returning.
    bool process_and_close_socket(socket_t sock) override;

    std::mutex _connectionsMutex;
    // The open connections' sockets with their clients' ports; a socket leaves before it is
    // closed, so that its number is never shut after the system has given it to another file.
    std::map<socket_t, int> _connections;
};

} // namespace collector
