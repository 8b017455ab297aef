#include "WebView.h"

#include <cctype>

namespace collector {

bool isViewPath(const std::string &path) {
    return path == "/" || path == "/favicon.ico" || path.rfind("/view/", 0) == 0;
}

bool isLoopbackHost(const std::string &host) {
    std::string name = host;
    std::string port;
    const size_t colon = host.rfind(':');
    // "[::1]:8080" has colons inside its brackets: only one after "]" starts a port.
    if (colon != std::string::npos && host.find(']', colon) == std::string::npos) {
        name = host.substr(0, colon);
        port = host.substr(colon + 1);
        if (port.empty() || port.size() > 5)
            return false;
        for (const char c : port)
            if (!std::isdigit(static_cast<unsigned char>(c)))
                return false;
    }
    for (char &c : name)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name == "localhost" || name == "127.0.0.1" || name == "[::1]";
}

const WebAsset *findAsset(const std::string &path) {
    for (size_t i = 0; i < kWebAssetCount; ++i)
        if (path == kWebAssets[i].path)
            return &kWebAssets[i];
    return nullptr;
}

std::string eventText(const Hit &hit, uint64_t seq) {
    // A JSON line never holds a raw line break, so the whole hit is one "data:" field.
    return "id: " + std::to_string(seq) + "\ndata: " + toJsonLine(hit) + "\n\n";
}

} // namespace collector
