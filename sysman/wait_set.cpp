// Wait set over pselect: registration during a pass, one sleep, reset to the fresh state.
#include "sysman/wait_set.h"

#include "sysman/clock.h"

namespace sysman {

void WaitSet::init() {
    reset();
}

void WaitSet::destroy() {}

void WaitSet::reset() {
    sigfillset(&mask);
    nfds = 0;
    FD_ZERO(&readSet);
    FD_ZERO(&writeSet);
    FD_ZERO(&exceptSet);
    timeout = NoTimeout;
}

bool WaitSet::addRead(int fd) {
    if (fd < 0 || fd >= FD_SETSIZE) {
        lowerTimeout(1000);
        return false;
    }
    if (nfds <= fd)
        nfds = fd + 1;
    FD_SET(fd, &readSet);
    FD_SET(fd, &exceptSet);
    return true;
}

void WaitSet::unblockSignal(int signal) {
    sigdelset(&mask, signal);
}

void WaitSet::lowerTimeout(uint32_t microseconds) {
    if (timeout > microseconds)
        timeout = microseconds;
}

void WaitSet::lowerTimeoutToTime(time_t deadline) {
    time_t now = time(nullptr);
    if (now > deadline) {
        lowerTimeout(0);
        return;
    }
    int64_t remaining = static_cast<int64_t>(deadline) - static_cast<int64_t>(now);
    if (remaining > static_cast<int64_t>(UINT32_MAX / 1000000))
        return;
    lowerTimeout(static_cast<uint32_t>(remaining * 1000000));
}

bool WaitSet::lowerTimeoutToPeriod(uint32_t stamp, uint32_t period) {
    uint32_t elapsed = elapsedMs(stamp);
    if (elapsed >= period)
        return true;
    uint64_t remainingUs = static_cast<uint64_t>(period - elapsed) * 1000u;
    lowerTimeout(remainingUs > NoTimeout ? NoTimeout : static_cast<uint32_t>(remainingUs));
    return false;
}

void WaitSet::wait() {
    if (timeout != 0) {
        struct timespec sleep {};
        sleep.tv_sec = timeout / 1000000u;
        sleep.tv_nsec = static_cast<long>(timeout % 1000000u) * 1000;
        (void)pselect(nfds, &readSet, &writeSet, &exceptSet, &sleep, &mask);
    }
    // pselect delivers a pending signal only when it returns for that signal: one that came
    // while a descriptor was ready, or while no sleep was asked for, is delivered here.
    sigset_t outside;
    (void)pthread_sigmask(SIG_SETMASK, &mask, &outside);
    (void)pthread_sigmask(SIG_SETMASK, &outside, nullptr);
    reset();
}

} // namespace sysman
