#include "HitDecoder.h"

#include <set>

namespace collector {

namespace {

const std::string kPathPrefix = "/b/ss/";
const std::string kVersionMarker = "/0/BBN-";
const std::string kRandomMarker = "/s";
const std::string kContextBranch = "c";

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t end = text.find(separator, start);
        if (end == std::string::npos) {
            parts.push_back(text.substr(start));
            return parts;
        }
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

// Collects the first problem only: later ones are usually its consequences.
class Problems {
public:
    explicit Problems(DecodedHit &hit) : _hit(hit) {}
    void report(const std::string &why) {
        if (_hit.wellFormed) {
            _hit.wellFormed = false;
            _hit.error = why;
        }
    }

private:
    DecodedHit &_hit;
};

std::string quoted(const std::string &token) {
    return "\"" + token + "\"";
}

void decodePath(const std::string &path, DecodedHit &hit, Problems &problems) {
    if (path.compare(0, kPathPrefix.size(), kPathPrefix) != 0) {
        problems.report("path doesn't start with /b/ss/");
        return;
    }
    const std::string rest = path.substr(kPathPrefix.size());
    const size_t versionAt = rest.find(kVersionMarker);
    if (versionAt == std::string::npos) {
        problems.report("path lacks /0/BBN-");
        return;
    }
    if (!percentDecode(rest.substr(0, versionAt), hit.reportSuites))
        problems.report("bad percent escape in the report suites");

    const std::string tail = rest.substr(versionAt + kVersionMarker.size());
    const size_t randomAt = tail.rfind(kRandomMarker);
    if (randomAt == std::string::npos) {
        problems.report("path lacks /s<random>");
        return;
    }
    hit.libraryVersion = tail.substr(0, randomAt);
    hit.random = tail.substr(randomAt + kRandomMarker.size());
    if (hit.libraryVersion.empty())
        problems.report("empty library version");
    // The sender draws 0 to 99999999 and writes it unpadded in decimal.
    const bool digitsOnly = hit.random.find_first_not_of("0123456789") == std::string::npos;
    if (hit.random.empty() || !digitsOnly || hit.random.size() > 8 ||
        (hit.random.size() > 1 && hit.random[0] == '0'))
        problems.report("random number " + quoted(hit.random) + " isn't 0..99999999");
}

struct OpenBranch {
    std::string name;
    ContextNode *node;
};

std::string openPath(const std::vector<OpenBranch> &stack) {
    std::string path;
    for (const OpenBranch &branch : stack)
        path += branch.name + ".";
    return path;
}

void decodeQuery(const std::string &rawQuery, DecodedHit &hit, Problems &problems) {
    const std::vector<std::string> tokens = split(rawQuery, '&');
    size_t first = 0;
    size_t end = tokens.size();
    hit.hasLeadingMarkers = tokens.size() >= 2 && tokens[0] == "AQB=1" && tokens[1] == "ndh=1";
    if (hit.hasLeadingMarkers)
        first = 2;
    hit.hasTrailingMarker = end > first && end >= 2 && tokens[end - 1] == "AQE=1";
    if (hit.hasTrailingMarker)
        --end;
    if (!hit.hasLeadingMarkers)
        problems.report("query doesn't start with AQB=1&ndh=1");
    if (!hit.hasTrailingMarker)
        problems.report("query doesn't end with &AQE=1");

    // Top-level branches land here; only "c" is kept. Map nodes never move, so the stack may point
    // into the tree while it grows.
    ContextNode top;
    std::vector<OpenBranch> stack;
    std::set<const ContextNode *> opened;
    bool contextClosed = false;

    for (size_t i = first; i < end; ++i) {
        const std::string &token = tokens[i];
        auto where = [&] {
            return "parameter " + std::to_string(i + 1) + " " + quoted(token) + ": ";
        };
        if (token.empty()) {
            problems.report(where() + "empty parameter");
            continue;
        }

        const size_t equals = token.find('=');
        if (equals != std::string::npos) {
            std::string key;
            std::string value;
            if (!percentDecode(token.substr(0, equals), key) ||
                !percentDecode(token.substr(equals + 1), value))
                problems.report(where() + "bad percent escape");
            if (token.find('=', equals + 1) != std::string::npos)
                problems.report(where() + "raw = in the value");
            if (stack.empty()) {
                if (contextClosed)
                    problems.report(where() + "top-level pair after the context block");
                hit.vars.emplace_back(std::move(key), std::move(value));
                continue;
            }
            ContextNode &node = stack.back().node->children[key];
            if (node.hasValue)
                problems.report(where() + "second value for " + openPath(stack) + key);
            node.hasValue = true;
            node.value = std::move(value);
            continue;
        }

        // A lone "." is both the opener and the closer of a branch with the empty name: it closes
        // when the innermost open branch is that one, else it opens.
        const size_t dot = token.find('.');
        bool opens = false;
        std::string rawName;
        if (token == ".") {
            opens = stack.empty() || !stack.back().name.empty();
        } else if (dot == token.size() - 1) {
            opens = true;
            rawName = token.substr(0, dot);
        } else if (dot == 0 && token.find('.', 1) == std::string::npos) {
            rawName = token.substr(1);
        } else {
            problems.report(where() + "neither a pair nor a branch");
            continue;
        }
        std::string name;
        if (!percentDecode(rawName, name))
            problems.report(where() + "bad percent escape");

        if (opens) {
            if (stack.size() >= kMaxContextDepth) {
                problems.report(where() + "nesting deeper than " +
                                std::to_string(kMaxContextDepth) + " levels");
                return;
            }
            ContextNode *parent = stack.empty() ? &top : stack.back().node;
            if (stack.empty() && name != kContextBranch)
                problems.report(where() + "top-level branch other than c.");
            ContextNode *node = &parent->children[name];
            if (!opened.insert(node).second)
                problems.report(where() + "branch " + openPath(stack) + name + ". opened twice");
            stack.push_back({name, node});
            continue;
        }

        if (stack.empty()) {
            problems.report(where() + "closes a branch that isn't open");
            continue;
        }
        if (stack.back().name != name) {
            problems.report(where() + "closes a branch while " + quoted(stack.back().name + ".") +
                            " is the innermost one open");
            // Resynchronise on the branch it names, if that is open further out.
            size_t at = stack.size();
            while (at > 0 && stack[at - 1].name != name)
                --at;
            if (at == 0)
                continue;
            stack.resize(at);
        }
        stack.pop_back();
        if (stack.empty() && name == kContextBranch)
            contextClosed = true;
    }

    if (!stack.empty())
        problems.report("branch " + openPath(stack) + " isn't closed");

    auto context = top.children.find(kContextBranch);
    if (context != top.children.end()) {
        hit.hasContext = true;
        hit.context = std::move(context->second);
    }
}

} // namespace

bool percentDecode(const std::string &in, std::string &out) {
    out.clear();
    out.reserve(in.size());
    bool clean = true;
    for (size_t i = 0; i < in.size(); ++i) {
        if (in[i] == '%' && i + 2 < in.size() && hexValue(in[i + 1]) >= 0 &&
            hexValue(in[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(in[i + 1]) * 16 + hexValue(in[i + 2])));
            i += 2;
            continue;
        }
        if (in[i] == '%')
            clean = false;
        out.push_back(in[i]);
    }
    return clean;
}

const ContextNode *ContextNode::find(const std::string &dottedPath) const {
    const ContextNode *node = this;
    for (const std::string &part : split(dottedPath, '.')) {
        auto child = node->children.find(part);
        if (child == node->children.end())
            return nullptr;
        node = &child->second;
    }
    return node;
}

std::optional<std::string> ContextNode::valueAt(const std::string &dottedPath) const {
    const ContextNode *node = find(dottedPath);
    if (!node || !node->hasValue)
        return std::nullopt;
    return node->value;
}

std::optional<std::string> DecodedHit::var(const std::string &key) const {
    for (const auto &pair : vars)
        if (pair.first == key)
            return pair.second;
    return std::nullopt;
}

std::optional<std::string> DecodedHit::ctx(const std::string &dottedPath) const {
    return context.valueAt(dottedPath);
}

DecodedHit decodeHit(const std::string &path, const std::string &rawQuery) {
    DecodedHit hit;
    hit.wellFormed = true;
    Problems problems(hit);
    decodePath(path, hit, problems);
    decodeQuery(rawQuery, hit, problems);
    return hit;
}

void splitUrl(const std::string &url, std::string &path, std::string &rawQuery) {
    size_t start = 0;
    const size_t scheme = url.find("://");
    if (scheme != std::string::npos && scheme < url.find_first_of("/?"))
        start = url.find_first_of("/?", scheme + 3);
    const std::string target = start == std::string::npos ? std::string() : url.substr(start);
    const size_t question = target.find('?');
    path = target.substr(0, question);
    rawQuery = question == std::string::npos ? std::string() : target.substr(question + 1);
}

DecodedHit decodeUrl(const std::string &url) {
    std::string path;
    std::string rawQuery;
    splitUrl(url, path, rawQuery);
    return decodeHit(path, rawQuery);
}

} // namespace collector
