// The files of the collector's web view, compiled into the program from web/ at build time
// (embed.cmake writes WebAssets.cpp), so that the view needs nothing beside the program.
#pragma once

#include <cstddef>

namespace collector {

// One file as served: its request path, its Content-Type and its bytes. Static data, read only,
// any thread.
struct WebAsset {
    const char *path;
    const char *contentType;
    const unsigned char *data;
    size_t size;
};

extern const WebAsset kWebAssets[];
extern const size_t kWebAssetCount;

} // namespace collector
