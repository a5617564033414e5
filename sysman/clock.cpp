// Monotonic millisecond clock: resolves lazily to CLOCK_MONOTONIC or, failing that, the wall clock.
#include "sysman/clock.h"

#include <ctime>
#include <unistd.h>

namespace sysman {

std::atomic<ClockReader> readClock{resolveClock};

static int wallClock(struct timeval* value, void* zone) {
    (void)zone;
    return gettimeofday(value, nullptr);
}

int readMonotonic(struct timeval* value, void* zone) {
    (void)zone;
    struct timespec ts {};
    int result = clock_gettime(CLOCK_MONOTONIC, &ts);
    value->tv_sec = ts.tv_sec;
    value->tv_usec = ts.tv_nsec / 1000;
    return result;
}

int resolveClock(struct timeval* value, void* zone) {
    if (sysconf(_SC_MONOTONIC_CLOCK) > 0) {
        readClock.store(readMonotonic, std::memory_order_relaxed);
        return readMonotonic(value, zone);
    }
    static const char warning[] = "Monotonic clock not supported\n";
    (void)!write(2, warning, sizeof warning - 1);
    readClock.store(wallClock, std::memory_order_relaxed);
    return wallClock(value, zone);
}

static struct timeval readNow() {
    struct timeval value {};
    (void)readClock.load(std::memory_order_relaxed)(&value, nullptr);
    return value;
}

uint32_t nowMs() {
    struct timeval value = readNow();
    return static_cast<uint32_t>(value.tv_sec) * 1000u +
           static_cast<uint32_t>(value.tv_usec / 1000);
}

uint32_t elapsedMs(uint32_t stamp) {
    return nowMs() - stamp;
}

uint32_t nowSeconds() {
    return static_cast<uint32_t>(readNow().tv_sec);
}

uint32_t elapsedSeconds(uint32_t stamp) {
    return nowSeconds() - stamp;
}

uint32_t nowUs() {
    struct timeval value = readNow();
    return static_cast<uint32_t>(value.tv_sec) * 1000000u + static_cast<uint32_t>(value.tv_usec);
}

uint32_t elapsedUs(uint32_t stamp) {
    return nowUs() - stamp;
}

} // namespace sysman
