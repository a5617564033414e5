// The single blocking point of a process loop: descriptors, signals and a time-out gathered
// during one pass, then one pselect. Owned by one loop on one thread; never shared.
#pragma once

#include <csignal>
#include <cstdint>
#include <ctime>
#include <sys/select.h>

namespace sysman {

constexpr uint32_t NoTimeout = 0xFFFFFFFF;

struct WaitSet {
    sigset_t mask;    // in force during the sleep; fresh: every signal blocked
    int nfds;         // highest registered descriptor plus one
    fd_set readSet;   // watched for input
    fd_set writeSet;  // always empty
    fd_set exceptSet; // every registered descriptor, as in readSet
    uint32_t timeout; // microseconds; NoTimeout when nobody lowered it, 0 to not sleep

    void init();
    void destroy();
    void reset();
    // Refuses descriptors fd_set cannot hold; the wait is then kept to 1 ms so the
    // owner of the refused descriptor is still polled. Returns whether it was entered.
    bool addRead(int fd);
    void unblockSignal(int signal);
    void lowerTimeout(uint32_t microseconds);
    void lowerTimeoutToTime(time_t deadline);
    // Returns true when the period since stamp (ms) has already run out.
    bool lowerTimeoutToPeriod(uint32_t stamp, uint32_t period);
    // Sleeps until a registered descriptor is ready, an unblocked signal arrives or the
    // time-out passes (not at all for a time-out of 0); then returns to the fresh state.
    void wait();
};

} // namespace sysman
