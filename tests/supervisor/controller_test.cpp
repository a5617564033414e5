// Playback controller and its player link over scripted children and the real wait loop:
// reports, a silent child skipped and killed after its stop grace, rounds that back off, and
// launches that fail for want of descriptors.
#include "scripted_player.h"
#include "supervisor/controller.h"
#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <sys/resource.h>
#include <unistd.h>

namespace {

sysman::WaitSet waitSet;

// Runs loop passes for ms, or until done; returns how many children were launched.
int runLoop(
    uint32_t ms, const std::function<bool()>& done = [] { return false; }) {
    int launches = 0;
    for (uint32_t start = sysman::nowMs(); sysman::elapsedMs(start) < ms;) {
        const pid_t last = controller.player.pid;
        stepController();
        launches += controller.player.pid != 0 && controller.player.pid != last;
        if (done())
            break;
        waitSet.lowerTimeout(50000); // the test's own deadline
        waitSet.wait();
    }
    return launches;
}

class Controller : public ::testing::Test {
  protected:
    void SetUp() override {
        useScriptedPlayers();
        waitSet.init();
        initController(&waitSet);
    }
    void TearDown() override { destroyPlayerProcess(controller.player); }
};

TEST_F(Controller, AChildSilentSinceItsLaunchIsSkippedUnderTheSameRequest) {
    controller.playlist = {"/silent.mp4", "/plays.mp4"};
    setRequest(static_cast<int>(PlaybackRequest::Play));
    const uint32_t start = sysman::nowMs();
    EXPECT_EQ(runLoop(10 * (StartReportMs + StopGraceMs),
                      [] { return playerStatus(controller.player) == PlayerStatus::Playing; }),
              2);
    EXPECT_GT(sysman::elapsedMs(start), StartReportMs + StopGraceMs);
    // A child that has reported plays on however long it takes.
    EXPECT_EQ(runLoop(StartReportMs + 1000), 0);
    EXPECT_EQ(playerStatus(controller.player), PlayerStatus::Playing);
}

TEST_F(Controller, RoundsWithoutAClipThatPlaysWaitLongerEachTime) {
    controller.playlist = {"/fails.mp4", "/fails-2.mp4"};
    setRequest(static_cast<int>(PlaybackRequest::Play));
    // Rounds start at 0, 1 s and 3 s; a spinning controller would launch hundreds.
    EXPECT_EQ(runLoop(3500), 6);
    // A client's request starts the next round at once.
    setRequest(static_cast<int>(PlaybackRequest::Pause));
    EXPECT_EQ(runLoop(500), 2);
    controller.playlist = {"", "/plays.mp4"}; // no child can be made for the first
    runLoop(10000, [] { return playerStatus(controller.player) == PlayerStatus::Paused; });
    EXPECT_EQ(playerStatus(controller.player), PlayerStatus::Paused);
    EXPECT_EQ(controller.backoffMs, 0u) << "a clip that plays ends the backoff";
}

TEST_F(Controller, PlaysOnceDescriptorsForItsPipesAreBack) {
    controller.playlist = {"/plays.mp4"};
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    const int lowestFree = dup(0);
    close(lowestFree);
    struct rlimit few = {static_cast<rlim_t>(lowestFree), saved.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    setRequest(static_cast<int>(PlaybackRequest::Play));
    // Tries at 0 and 1 s, backing off; never a child, never given up.
    EXPECT_EQ(runLoop(1500), 0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    runLoop(10000, [] { return playerStatus(controller.player) == PlayerStatus::Playing; });
    EXPECT_EQ(playerStatus(controller.player), PlayerStatus::Playing);
}

} // namespace
