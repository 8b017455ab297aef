// keo-queue: what waits in an application's hit table, oldest first, decoded. Read only, so it
// is safe to run beside the application while hits don't arrive.
#include "QueueReport.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string>

namespace {

const char *kUsage =
    "usage: keo-queue [--urls] [--plain] APP_DIR | DATA_DIR | DATABASE\n"
    "Lists the hits waiting in an application's data/KEOAnalyticsCache.sqlite: ID (the order\n"
    "of delivery), age, and the decoded hit. --urls prints ID and raw URL only. Colours only\n"
    "on a terminal; --plain turns them off. Exit 0 when the table was read, 1 when not.\n";

} // namespace

int main(int argc, char **argv) {
    bool urlsOnly = false;
    bool colour = isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    std::string target;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--urls") {
            urlsOnly = true;
        } else if (arg == "--plain") {
            colour = false;
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (target.empty() && !arg.empty() && arg[0] != '-') {
            target = arg;
        } else {
            std::cerr << "keo-queue: unexpected argument " << arg << "\n" << kUsage;
            return 2;
        }
    }
    if (target.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    const keodemo::QueueSnapshot snapshot = keodemo::readQueue(keodemo::resolveQueuePath(target));
    const std::string report = keodemo::formatQueue(
        snapshot, static_cast<long long>(std::time(nullptr)), colour, urlsOnly);
    (snapshot.ok ? std::cout : std::cerr) << report << std::flush;
    return snapshot.ok ? 0 : 1;
}
