// Text and JSON renderings of a received hit, for the program's output and for test failures.
#include "Collector.h"
#include "HitTitle.h"

#include <cstdio>
#include <ctime>

namespace collector {

namespace {

std::string timestamp(std::chrono::system_clock::time_point at) {
    using namespace std::chrono;
    const auto sinceEpoch = at.time_since_epoch();
    const time_t seconds =
        static_cast<time_t>(duration_cast<std::chrono::seconds>(sinceEpoch).count());
    const long millis = static_cast<long>(duration_cast<milliseconds>(sinceEpoch).count() % 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[96];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  millis < 0 ? 0 : millis);
    return text;
}

std::string faultText(const Hit &hit) {
    std::string text = faultName(hit.fault);
    if (hit.fault == Fault::Delay || hit.fault == Fault::Slow || hit.fault == Fault::HttpError)
        text += ":" + std::to_string(hit.faultParam);
    return text;
}

// Names are shown in quotes only when they need it, so that the empty name stays visible.
std::string shownName(const std::string &name) {
    return name.empty() ? "\"\"" : name;
}

void appendNode(std::string &out, const ContextNode &node, int depth) {
    const std::string indent(static_cast<size_t>(depth) * 2, ' ');
    // Pairs first, then branches, as in the wire order of a node with both.
    for (const auto &child : node.children)
        if (child.second.hasValue)
            out += indent + shownName(child.first) + " = " + child.second.value + "\n";
    for (const auto &child : node.children) {
        if (!child.second.children.empty() || !child.second.hasValue) {
            out += indent + shownName(child.first) + ".\n";
            appendNode(out, child.second, depth + 1);
        }
    }
}

// Length of the valid UTF-8 sequence at text[at], or 0 if there is none.
size_t utf8Length(const std::string &text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    size_t length;
    unsigned int minimum;
    unsigned int code;
    if (lead < 0x80)
        return 1;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, minimum = 0x80, code = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, minimum = 0x800, code = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, minimum = 0x10000, code = lead & 0x07;
    } else {
        return 0;
    }
    if (at + length > text.size())
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (byte(at + i) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return length;
}

void appendJsonString(std::string &out, const std::string &text) {
    out += '"';
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = utf8Length(text, i);
        if (length == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        if (length > 1) {
            out.append(text, i, length);
            i += length;
            continue;
        }
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
        ++i;
    }
    out += '"';
}

void appendJsonField(std::string &out, const char *name, const std::string &value) {
    if (out.size() > 1)
        out += ',';
    appendJsonString(out, name);
    out += ':';
    appendJsonString(out, value);
}

void appendJsonNode(std::string &out, const ContextNode &node) {
    out += '{';
    bool first = true;
    if (node.hasValue) {
        out += "\"value\":";
        appendJsonString(out, node.value);
        first = false;
    }
    if (!node.children.empty()) {
        out += first ? "\"children\":{" : ",\"children\":{";
        bool firstChild = true;
        for (const auto &child : node.children) {
            if (!firstChild)
                out += ',';
            firstChild = false;
            appendJsonString(out, child.first);
            out += ':';
            appendJsonNode(out, child.second);
        }
        out += '}';
    }
    out += '}';
}

} // namespace

std::string toText(const Hit &hit) {
    const DecodedHit &d = hit.decoded;
    std::string out = hit.method + " " + hit.path;
    if (!hit.rawQuery.empty())
        out += "?" + hit.rawQuery;
    out += "\n";
    out += "  received: " + timestamp(hit.receivedAt) + "  fault: " + faultText(hit) + "\n";
    out += "  User-Agent: " + hit.userAgent + "\n";
    out += "  Accept-Language: " + hit.acceptLanguage + "\n";
    out += "  report suites: " + d.reportSuites + "  version: " + d.libraryVersion +
           "  random: " + d.random + "\n";
    if (!d.wellFormed)
        out += "  MALFORMED: " + d.error + "\n";
    out += "  vars:\n";
    for (const auto &pair : d.vars)
        out += "    " + shownName(pair.first) + " = " + pair.second + "\n";
    if (d.hasContext) {
        out += "  c.\n";
        appendNode(out, d.context, 2);
    }
    return out;
}

std::string toJsonLine(const Hit &hit) {
    const DecodedHit &d = hit.decoded;
    std::string out = "{";
    appendJsonField(out, "receivedAt", timestamp(hit.receivedAt));
    appendJsonField(out, "method", hit.method);
    appendJsonField(out, "path", hit.path);
    appendJsonField(out, "query", hit.rawQuery);
    appendJsonField(out, "userAgent", hit.userAgent);
    appendJsonField(out, "acceptLanguage", hit.acceptLanguage);
    appendJsonField(out, "fault", faultText(hit));
    out += d.wellFormed ? ",\"wellFormed\":true" : ",\"wellFormed\":false";
    appendJsonField(out, "error", d.error);
    appendJsonField(out, "reportSuites", d.reportSuites);
    appendJsonField(out, "libraryVersion", d.libraryVersion);
    appendJsonField(out, "random", d.random);
    out += ",\"vars\":[";
    for (size_t i = 0; i < d.vars.size(); ++i) {
        out += i ? ",[" : "[";
        appendJsonString(out, d.vars[i].first);
        out += ',';
        appendJsonString(out, d.vars[i].second);
        out += ']';
    }
    out += "],\"context\":";
    if (d.hasContext)
        appendJsonNode(out, d.context);
    else
        out += "null";
    appendJsonField(out, "kind", kindName(kindOf(d)));
    appendJsonField(out, "title", headline(d));
    out += '}';
    return out;
}

} // namespace collector
