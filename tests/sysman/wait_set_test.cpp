// Wait set: registration, time-out lowering, the reset after every wait, and which
// signals may end the sleep.
#include "sysman/wait_set.h"

#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

long long msSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

void expectFresh(const sysman::WaitSet& set) {
    EXPECT_EQ(set.nfds, 0);
    EXPECT_EQ(set.timeout, sysman::NoTimeout);
    for (int fd = 0; fd < 64; ++fd) {
        EXPECT_FALSE(FD_ISSET(fd, &set.readSet));
        EXPECT_FALSE(FD_ISSET(fd, &set.writeSet));
        EXPECT_FALSE(FD_ISSET(fd, &set.exceptSet));
    }
    for (int signal : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1})
        EXPECT_EQ(sigismember(&set.mask, signal), 1);
}

TEST(WaitSet, TimeoutOnlyEverGoesDown) {
    sysman::WaitSet set;
    set.init();
    set.lowerTimeout(sysman::NoTimeout);
    EXPECT_EQ(set.timeout, sysman::NoTimeout);
    set.lowerTimeout(1000);
    set.lowerTimeout(0);
    EXPECT_EQ(set.timeout, 0u);
    set.lowerTimeout(1000);
    EXPECT_EQ(set.timeout, 0u);
}

TEST(WaitSet, RegistrationTracksHighestDescriptorAndRefusesOutOfRange) {
    sysman::WaitSet set;
    set.init();
    EXPECT_TRUE(set.addRead(7));
    EXPECT_TRUE(set.addRead(3));
    EXPECT_TRUE(set.addRead(3));
    EXPECT_EQ(set.nfds, 8);
    EXPECT_TRUE(FD_ISSET(3, &set.readSet) && FD_ISSET(3, &set.exceptSet));
    EXPECT_TRUE(FD_ISSET(7, &set.readSet) && FD_ISSET(7, &set.exceptSet));
    EXPECT_EQ(set.timeout, sysman::NoTimeout);
    // A descriptor fd_set cannot hold is not entered, but its owner is polled every 1 ms.
    EXPECT_FALSE(set.addRead(FD_SETSIZE));
    EXPECT_EQ(set.nfds, 8);
    EXPECT_EQ(set.timeout, 1000u);
}

TEST(WaitSet, EveryWaitResetsToTheFreshState) {
    int fds[2];
    ASSERT_EQ(pipe2(fds, O_CLOEXEC | O_NONBLOCK), 0);
    ASSERT_EQ(write(fds[1], "x", 1), 1);
    sysman::WaitSet set;
    set.init();
    set.addRead(fds[0]);
    set.unblockSignal(SIGTERM);
    set.lowerTimeout(500000);
    auto start = Clock::now();
    set.wait(); // readable at once
    EXPECT_LT(msSince(start), 400);
    expectFresh(set);
    set.lowerTimeout(0);
    set.addRead(fds[0]);
    set.wait();
    expectFresh(set);
    close(fds[0]);
    close(fds[1]);
}

TEST(WaitSet, ZeroTimeoutDoesNotSleepAndOthersSleepTheirTime) {
    sysman::WaitSet set;
    set.init();
    set.lowerTimeout(0);
    auto start = Clock::now();
    set.wait();
    EXPECT_LT(msSince(start), 5);
    set.lowerTimeout(30000);
    start = Clock::now();
    set.wait();
    EXPECT_GE(msSince(start), 29);
}

volatile sig_atomic_t handled = 0;
void onUsr1(int) {
    handled = 1;
}

class WaitSignals : public ::testing::Test {
  protected:
    void SetUp() override {
        struct sigaction action {};
        action.sa_handler = onUsr1;
        sigemptyset(&action.sa_mask);
        sigaction(SIGUSR1, &action, &previous);
        sigset_t block;
        sigemptyset(&block);
        sigaddset(&block, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &block, &savedMask);
        handled = 0;
    }
    void TearDown() override {
        pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
        sigaction(SIGUSR1, &previous, nullptr);
    }
    // Sends SIGUSR1 to this thread after a delay, from another thread.
    static std::thread signalLater(pthread_t target, int delayMs) {
        return std::thread([target, delayMs] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            pthread_kill(target, SIGUSR1);
        });
    }
    struct sigaction previous {};
    sigset_t savedMask{};
};

TEST_F(WaitSignals, UnblockedSignalEndsTheSleep) {
    sysman::WaitSet set;
    set.init();
    set.unblockSignal(SIGUSR1);
    set.lowerTimeout(5000000);
    auto start = Clock::now();
    std::thread sender = signalLater(pthread_self(), 30);
    set.wait();
    sender.join();
    EXPECT_LT(msSince(start), 2000);
    EXPECT_EQ(handled, 1);
}

TEST_F(WaitSignals, SignalLeftInTheMaskStaysPendingUntilTheSleepEnds) {
    sysman::WaitSet set;
    set.init();
    set.lowerTimeout(200000);
    auto start = Clock::now();
    std::thread sender = signalLater(pthread_self(), 20);
    set.wait();
    sender.join();
    EXPECT_GE(msSince(start), 195);
    EXPECT_EQ(handled, 0);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGUSR1), 1);
    // Delivered once the thread unblocks it.
    sigset_t usr1;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    pthread_sigmask(SIG_UNBLOCK, &usr1, nullptr);
    EXPECT_EQ(handled, 1);
}

struct timeval fakeNow;
int fakeClock(struct timeval* value, void*) {
    *value = fakeNow;
    return 0;
}

TEST(WaitSet, PeriodLowersToWhatIsLeftOrReportsItRunOut) {
    sysman::readClock = fakeClock;
    sysman::WaitSet set;
    set.init();
    fakeNow = {1, 500000}; // 1500 ms
    EXPECT_FALSE(set.lowerTimeoutToPeriod(1000, 2000));
    EXPECT_EQ(set.timeout, 1500000u);
    set.reset();
    fakeNow = {3, 0};
    EXPECT_TRUE(set.lowerTimeoutToPeriod(1000, 2000));
    EXPECT_EQ(set.timeout, sysman::NoTimeout);
    // A stamp from before the millisecond count wrapped.
    fakeNow = {0, 100000};
    EXPECT_FALSE(set.lowerTimeoutToPeriod(0xFFFFFF00u, 2000));
    EXPECT_EQ(set.timeout, (2000u - 356u) * 1000u);
    sysman::readClock = sysman::resolveClock;
}

TEST(WaitSet, CalendarDeadlineLowersOnlyWhenItFits) {
    sysman::WaitSet set;
    set.init();
    time_t now = time(nullptr);
    set.lowerTimeoutToTime(now - 10);
    EXPECT_EQ(set.timeout, 0u);
    set.reset();
    set.lowerTimeoutToTime(now + 5000); // 5e9 us does not fit in 32 bits
    EXPECT_EQ(set.timeout, sysman::NoTimeout);
    set.lowerTimeoutToTime(now + 3);
    EXPECT_LE(set.timeout, 3000000u);
    EXPECT_GE(set.timeout, 2000000u);
}

} // namespace
