// Millisecond clock: truncation, modulo-2^32 intervals, and the lazy choice of clock.
#include "sysman/clock.h"

#include <gtest/gtest.h>

static struct timeval fakeNow;

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
    EXPECT_TRUE(sysman::nowMs() != 0 && sysman::readClock.load() == &sysman::readMonotonic);
}
