// collector: the loopback collection server as a program, for the demo and for shell use.
#include "Collector.h"

#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

const char *kUsage =
    "usage: collector [--port N] [--json] [--fault "
    "refuse|delay[:MS]|status[:CODE]|close|slow[:MS]]\n"
    "                 [--count N] [--timeout SEC]\n"
    "       collector [--json] --decode URL\n"
    "Serves hits on 127.0.0.1, prints each one and shows them live in a browser at\n"
    "http://127.0.0.1:PORT/; stops after --count hits, after --timeout seconds, or on\n"
    "SIGINT/SIGTERM. --decode prints one URL's decoding and exits 0 if it is well formed,\n"
    "1 if not.\n";

int usage(const std::string &problem) {
    std::cerr << "collector: " << problem << "\n" << kUsage;
    return 2;
}

bool parseNumber(const std::string &text, long &value) {
    if (text.empty())
        return false;
    char *end = nullptr;
    value = std::strtol(text.c_str(), &end, 10);
    return *end == '\0' && value >= 0;
}

bool parseFault(const std::string &text, collector::Fault &fault, int &param) {
    const size_t colon = text.find(':');
    const std::string word = text.substr(0, colon);
    long number = 0;
    if (colon != std::string::npos && !parseNumber(text.substr(colon + 1), number))
        return false;
    param = static_cast<int>(number);
    using collector::Fault;
    if (word == "none")
        fault = Fault::None;
    else if (word == "refuse")
        fault = Fault::Refuse;
    else if (word == "delay")
        fault = Fault::Delay;
    else if (word == "status")
        fault = Fault::HttpError;
    else if (word == "close")
        fault = Fault::CloseConnection;
    else if (word == "slow")
        fault = Fault::Slow;
    else
        return false;
    return colon == std::string::npos || fault == Fault::Delay || fault == Fault::Slow ||
           fault == Fault::HttpError;
}

std::string render(const collector::Hit &hit, bool json) {
    return json ? collector::toJsonLine(hit) + "\n" : collector::toText(hit);
}

int decodeOne(const std::string &url, bool json) {
    collector::Hit hit;
    hit.method = "GET";
    collector::splitUrl(url, hit.path, hit.rawQuery);
    hit.receivedAt = std::chrono::system_clock::now();
    hit.decoded = collector::decodeHit(hit.path, hit.rawQuery);
    std::cout << render(hit, json) << std::flush;
    return hit.decoded.wellFormed ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    long port = 0;
    long wanted = 0;
    long timeoutSeconds = 0;
    bool json = false;
    bool decode = false;
    std::string url;
    collector::Fault fault = collector::Fault::None;
    int faultParam = 0;

    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--json") {
            json = true;
        } else if (arg == "--port" && hasValue) {
            if (!parseNumber(argv[++i], port) || port > 65535)
                return usage("bad --port");
        } else if (arg == "--count" && hasValue) {
            if (!parseNumber(argv[++i], wanted))
                return usage("bad --count");
        } else if (arg == "--timeout" && hasValue) {
            if (!parseNumber(argv[++i], timeoutSeconds))
                return usage("bad --timeout");
        } else if (arg == "--fault" && hasValue) {
            if (!parseFault(argv[++i], fault, faultParam))
                return usage("bad --fault");
        } else if (arg == "--decode" && hasValue) {
            decode = true;
            url = argv[++i];
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else {
            return usage("unknown or incomplete argument " + arg);
        }
    }
    if (decode)
        return decodeOne(url, json);

    // Blocked before any thread starts, so that every thread inherits the mask and the signals
    // wait here for sigtimedwait instead of killing the process mid-output.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    collector::Collector server(static_cast<int>(port));
    server.setFault(fault, faultParam);
    if (!server.start()) {
        std::cerr << "collector: can't listen on 127.0.0.1:" << port << "\n";
        return 1;
    }
    std::cout << "listening on " << server.baseServer() << std::endl;
    std::cout << "view: " << server.viewUrl() << " (live, in a browser on this machine)"
              << std::endl;
    if (fault != collector::Fault::None) {
        std::cout << "fault: " << collector::faultName(fault);
        if (faultParam > 0)
            std::cout << ":" << faultParam;
        std::cout << std::endl;
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    size_t printed = 0;
    size_t malformed = 0;
    const char *reason = "timeout";
    for (;;) {
        server.waitForHits(printed + 1, std::chrono::milliseconds(100));
        const std::vector<collector::Hit> hits = server.hits();
        for (; printed < hits.size(); ++printed) {
            if (!hits[printed].decoded.wellFormed)
                ++malformed;
            std::cout << render(hits[printed], json) << std::flush;
        }
        if (wanted > 0 && printed >= static_cast<size_t>(wanted)) {
            reason = "count reached";
            break;
        }
        const timespec poll{0, 0};
        const int signal = sigtimedwait(&stopSignals, nullptr, &poll);
        if (signal == SIGINT || signal == SIGTERM) {
            reason = signal == SIGINT ? "SIGINT" : "SIGTERM";
            break;
        }
        if (timeoutSeconds > 0 && std::chrono::steady_clock::now() >= deadline)
            break;
    }
    server.stop();
    std::cout << "collector: " << printed << " hits, " << malformed << " malformed, stopped by "
              << reason << std::endl;
    return 0;
}
