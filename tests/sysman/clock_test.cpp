// Millisecond clock: modulo-2^32 intervals, truncation, and the lazy choice of clock.
#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

struct timeval fakeNow;

int fakeClock(struct timeval* value, void*) {
    *value = fakeNow;
    return 0;
}

class FakeClock : public ::testing::Test {
  protected:
    void SetUp() override { sysman::readClock = fakeClock; }
    void TearDown() override { sysman::readClock = sysman::resolveClock; }
    static void set(time_t seconds, suseconds_t micros) { fakeNow = {seconds, micros}; }
};

TEST_F(FakeClock, IntervalAcrossTheWrapIsMeasuredModulo32Bits) {
    set(0, 256000); // 0x100 ms
    EXPECT_EQ(sysman::nowMs(), 0x100u);
    EXPECT_EQ(sysman::elapsedMs(0xFFFFFF00u), 512u);
    // 4294967.296 s is exactly 2^32 ms: the count starts again at 0.
    set(4294967, 296000);
    EXPECT_EQ(sysman::nowMs(), 0u);
}

TEST_F(FakeClock, MicrosecondsAreTruncatedTowardZero) {
    set(1, 999900);
    EXPECT_EQ(sysman::nowMs(), 1999u);
    EXPECT_EQ(sysman::nowSeconds(), 1u);
    EXPECT_EQ(sysman::nowUs(), 1999900u);
}

TEST_F(FakeClock, MicrosecondCountWrapsAfter71Minutes) {
    set(4294, 967295);
    EXPECT_EQ(sysman::nowUs(), 0xFFFFFFFFu);
    set(4294, 967296); // 2^32 us: the count is back at 0
    EXPECT_EQ(sysman::elapsedUs(0xFFFFFFFFu), 1u);
}

TEST(Clock, FirstReadingSettlesOnTheMonotonicClock) {
    sysman::readClock = sysman::resolveClock;
    uint32_t start = sysman::nowMs();
    EXPECT_EQ(sysman::readClock.load(), &sysman::readMonotonic);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    uint32_t elapsed = sysman::elapsedMs(start);
    EXPECT_GE(elapsed, 30u);
    EXPECT_LT(elapsed, 2000u);
}

} // namespace
