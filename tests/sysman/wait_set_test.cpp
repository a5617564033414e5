// Wait set: registration, time-out lowering, how long a wait sleeps, which signals may end it,
// and the fresh state after every wait.
#include "sysman/wait_set.h"

#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <limits>
#include <unistd.h>

static volatile sig_atomic_t handled = 0;
static int fds[2];

// Lowers the time-out, waits, checks the fresh state it leaves and returns the milliseconds slept.
static long long timedWait(sysman::WaitSet& set, uint32_t timeout) {
    set.lowerTimeout(timeout);
    auto start = std::chrono::steady_clock::now();
    set.wait();
    auto slept = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(!set.nfds && set.timeout == sysman::NoTimeout && !FD_ISSET(fds[0], &set.readSet) &&
                !FD_ISSET(fds[1], &set.exceptSet) && sigismember(&set.mask, SIGUSR1));
    return std::chrono::duration_cast<std::chrono::milliseconds>(slept).count();
}

TEST(WaitSet, RegistersLowersTheTimeoutAndSleepsUntilTimeoutDescriptorOrSignal) {
    ASSERT_EQ(pipe(fds), 0);
    sysman::WaitSet set;
    set.init();
    set.lowerTimeoutToTime(std::numeric_limits<time_t>::max()); // too far to lower anything
    EXPECT_TRUE(set.timeout == sysman::NoTimeout && set.addRead(fds[1]) && set.addRead(fds[0]));
    EXPECT_TRUE(set.nfds == fds[1] + 1 && FD_ISSET(fds[0], &set.exceptSet));
    EXPECT_FALSE(set.lowerTimeoutToPeriod(sysman::nowMs() - 500, 2000));
    EXPECT_TRUE(set.timeout <= 1500000u && set.timeout > 1400000u) << set.timeout;
    EXPECT_TRUE(set.lowerTimeoutToPeriod(sysman::nowMs() - 2000, 2000));
    // A descriptor fd_set cannot hold is refused, and its owner is polled every 1 ms.
    EXPECT_TRUE(!set.addRead(FD_SETSIZE) && set.timeout == 1000u);
    // SIGUSR1 is kept pending, blocked in this thread, for the waits below.
    signal(SIGUSR1, [](int) { handled = 1; });
    sigset_t usr1;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &usr1, nullptr);
    pthread_kill(pthread_self(), SIGUSR1);
    // Shortest first: a wrong unit turns 1 ms into a second.
    ASSERT_LT(timedWait(set, 1500), 500);
    ASSERT_EQ(write(fds[1], "x", 1), 1);
    set.addRead(fds[0]);
    EXPECT_LT(timedWait(set, 2000000), 1000);
    // Blocked in the fresh mask, the signal stays pending through the whole sleep; unblocked
    // for a wait, it is delivered even by a wait that does not sleep, and it ends a sleep.
    EXPECT_TRUE(timedWait(set, 50000) >= 49 && handled == 0);
    set.lowerTimeoutToTime(time(nullptr) - 1); // already past
    set.unblockSignal(SIGUSR1);
    EXPECT_TRUE(set.timeout == 0 && timedWait(set, 0) < 5 && handled == 1);
    handled = 0;
    pthread_kill(pthread_self(), SIGUSR1);
    set.unblockSignal(SIGUSR1);
    EXPECT_TRUE(timedWait(set, 2000000) < 1000 && handled == 1);
    pthread_sigmask(SIG_UNBLOCK, &usr1, nullptr);
}
