// Millisecond clock: truncation, modulo-2^32 intervals, and the lazy choice of clock.
#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

struct timeval fakeNow;

TEST(Clock, ReadingsTruncateIntervalsWrapAndTheFirstReadingPicksTheMonotonicClock) {
    sysman::readClock = [](struct timeval* value, void*) {
        *value = fakeNow;
        return 0;
    };
    fakeNow = {1, 999900};
    EXPECT_TRUE(sysman::nowMs() == 1999u && sysman::nowUs() == 1999900u);
    fakeNow = {0, 256000}; // 0x100 ms
    EXPECT_TRUE(sysman::elapsedMs(0xFFFFFF00u) == 512u && sysman::elapsedSeconds(~0u) == 1u);

    sysman::readClock = sysman::resolveClock;
    struct timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    uint32_t late =
        sysman::nowMs() - static_cast<uint32_t>(ts.tv_sec * 1000 + ts.tv_nsec / 1000000);
    EXPECT_TRUE(sysman::readClock.load() == &sysman::readMonotonic && late < 1000u) << late;
}

} // namespace
