// Decoding of one hit as it arrives on the wire: the path pieces and the bracketed parameter text.
// Plain C++17 on purpose: the collector checks the library's output without sharing a line of it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace collector {

// One node of the decoded context tree. A node may carry a value and children at once, as the
// wire allows ("&a=1&a.&b=2&.a"). Plain value type: whoever holds it owns it and all below it;
// no internal sharing, so a const tree may be read from any number of threads at once.
struct ContextNode {
    bool hasValue = false; // a "name=value" pair named this node (the value may be empty)
    std::string value;     // percent-decoded bytes; empty when !hasValue
    std::map<std::string, ContextNode> children; // by percent-decoded name; "" is a legal name

    // Walks a dotted path from this node's children: "a.loc.lat.a" is a -> loc -> lat -> a.
    // Empty parts are names too ("" is the child named "", "a." is a -> ""), the same way the
    // sender splits its keys. Returns a pointer into this tree (valid while the tree lives and is
    // not modified) or nullptr when some step is missing.
    const ContextNode *find(const std::string &dottedPath) const;
    // The value at the dotted path, or nothing when the node is missing or holds no value.
    std::optional<std::string> valueAt(const std::string &dottedPath) const;
};

// Everything that can be read from one hit's path and query. Plain value type, like ContextNode.
struct DecodedHit {
    // Path "/b/ss/<suites>/0/BBN-<version>/s<random>".
    std::string reportSuites;   // percent-decoded
    std::string libraryVersion; // text after "BBN-", as sent (the sender doesn't encode it)
    std::string random;         // the digits after "/s"

    // Top-level pairs in wire order, percent-decoded, without the framing markers.
    std::vector<std::pair<std::string, std::string>> vars;
    bool hasLeadingMarkers = false; // the query started with "AQB=1&ndh=1"
    bool hasTrailingMarker = false; // the query ended with "&AQE=1"

    bool hasContext = false; // a "c." block was present (even an empty one)
    ContextNode context;     // the content of the "c." block; its children are the top keys

    bool wellFormed = false; // path, framing and brackets all as the sender writes them
    std::string error;       // the first problem found when !wellFormed, else empty

    // The first top-level pair of that (decoded) name.
    std::optional<std::string> var(const std::string &key) const;
    // Context value at a dotted path, see ContextNode::find.
    std::optional<std::string> ctx(const std::string &dottedPath) const;
};

// Deepest nesting the decoder follows; a real hit stays a few levels deep, and the cap keeps the
// recursive tree (destruction, printing) safe on hostile input.
constexpr size_t kMaxContextDepth = 1000;

// Decodes one hit from its raw (still percent-encoded) path and query, the text after "?" without
// the "?". Never throws on bad input and never crashes: anything unexpected gives
// wellFormed == false with a reason in `error`, and as much of the hit as could be read.
// Pure function, callable from any thread.
DecodedHit decodeHit(const std::string &path, const std::string &rawQuery);

// Splits a whole URL ("http://host/b/ss/...?...") or a request target ("/b/ss/...?...") into the
// raw path and the raw query after "?" (empty when there is no "?"). Any thread.
void splitUrl(const std::string &url, std::string &path, std::string &rawQuery);
// splitUrl, then decodeHit. Any thread.
DecodedHit decodeUrl(const std::string &url);

// Percent-decodes `in` into `out`. "+" stays "+"; only "%20" is a blank. Returns false when a "%"
// isn't followed by two hexadecimal digits; such a "%" is copied as it stands. Any thread.
bool percentDecode(const std::string &in, std::string &out);

} // namespace collector
