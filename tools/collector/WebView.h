// The pieces of the web view that need no server: which requests belong to it, whom it answers,
// its files and the text of its event stream. Pure functions, any thread.
#pragma once

#include "Collector.h"
#include "WebAssets.h"

#include <cstdint>
#include <string>

namespace collector {

// "/", "/favicon.ico" and everything under "/view/"; every other path is collection.
bool isViewPath(const std::string &path);

// True for a Host header that names the loopback interface: "localhost", "127.0.0.1" or
// "[::1]", in any case, with or without ":PORT". A page served from any other name (DNS
// rebinding points one at 127.0.0.1) gets nothing from the view.
bool isLoopbackHost(const std::string &host);

// The compiled-in file served at path, or nullptr. Points to static data.
const WebAsset *findAsset(const std::string &path);

// One server-sent event carrying the hit as a JSON line under its view number:
// "id: SEQ\ndata: {...}\n\n".
std::string eventText(const Hit &hit, uint64_t seq);

} // namespace collector
