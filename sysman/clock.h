// Monotonic millisecond clock for intervals and time-outs, immune to wall-clock changes.
// Any thread may read it; the choice of clock is made on the first reading and then fixed.
#pragma once

#include <atomic>
#include <cstdint>
#include <sys/time.h>

namespace sysman {

// A function with the shape of gettimeofday: fills seconds and microseconds, ignores the zone.
using ClockReader = int (*)(struct timeval* value, void* zone);

// Where every reading goes. Starts at resolveClock; tests may point it at a fake clock.
extern std::atomic<ClockReader> readClock;

// Picks the monotonic clock, or the wall clock with one warning when there is none.
int resolveClock(struct timeval* value, void* zone);
int readMonotonic(struct timeval* value, void* zone);

// Stamps are counts modulo 2^32; elapsed values are differences modulo 2^32.
uint32_t nowMs();
uint32_t elapsedMs(uint32_t stamp);
uint32_t nowSeconds();
uint32_t elapsedSeconds(uint32_t stamp);
uint32_t nowUs();
uint32_t elapsedUs(uint32_t stamp);

} // namespace sysman
