#pragma once
// Delivery's timings, each named once here; the store's source and the tests both take them from
// here. Changing one changes what a user's hits do on a bad network: the delivery tests say how.
#include <chrono>

namespace KEODeliveryTimings {

// Offline tracking on: after a failed send the worker sleeps this long before it tries again.
// Fixed, with no growth and no retry count: the collection side sees a kept hit come back about
// twice a minute for as long as the network is down, and nothing more often.
constexpr unsigned int RETRY_PAUSE_SECONDS = 30;

// Offline tracking off: a row stamped more than this many seconds before its send is sent once
// and deleted whatever the answer (at exactly this age it is still fresh). A failing fresh hit is
// retried at once, so "off" means about this long of trying, for hits that describe the moment.
constexpr unsigned int AGE_LIMIT_SECONDS = 5;

// libcurl's limit on one whole send, connecting included. Longer than the age limit on purpose:
// with offline tracking off, a send that blocks this long is a hit's only attempt.
constexpr long TRANSFER_TIMEOUT_SECONDS = 10;

// How long a statement on the hit table waits for another process's lock before it fails. An
// insert that fails loses its hit, so this is far beyond any write another process holds the
// lock for (one delete, or a checkpoint).
constexpr int BUSY_TIMEOUT_MS = 10000;

// How long an insert spins for the table's mutex before it sleeps. The worker holds that mutex
// for one select or delete at a time, some tens of microseconds, and waking a sleeping thread
// can take longer than the wait itself.
constexpr std::chrono::microseconds INSERT_SPIN{60};

} // namespace KEODeliveryTimings
