// Playback controller driven by a real loop (step, then wait) against scripted children:
// every row of its state machine, requests, the circular playlist and the stop grace period.
#include "scripted_player.h"
#include "supervisor/controller.h"
#include "supervisor/playlist.h"
#include "sysman/clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace {

using testing::ElementsAre;

class ControllerTest : public testing::Test {
  protected:
    void SetUp() override {
        installChildSignalRegime();
        waitSet.init();
        dir = makeTempDir();
        useScriptedPlayers(dir + "/log");
        initController(&waitSet);
    }
    void TearDown() override {
        destroyPlayerProcess(controller.player);
        initController(nullptr);
        removeTempDir(dir);
    }

    // Loads a playlist file naming the given videos, as request handling would.
    void load(const std::vector<std::string>& names, bool stopCurrent = false) {
        std::string text;
        for (const std::string& name : names)
            text += name + ".mp4\n";
        writeTextFile(dir + "/list.txt", text);
        ASSERT_TRUE(loadPlaylist((dir + "/list.txt").c_str(), stopCurrent));
    }

    // The main loop's controller part: step, then wait. Returns after the pass in which done
    // holds, or false when limitMs ran out. guardUs only bounds a sleep nobody else bounds.
    bool runUntil(const std::function<bool()>& done, uint32_t limitMs = 3000,
                  uint32_t guardUs = 100000) {
        uint32_t start = sysman::nowMs();
        for (;;) {
            stepController();
            ++passes;
            everFailed = everFailed || controller.phase == ControllerPhase::Failed;
            if (done())
                return true;
            if (sysman::elapsedMs(start) >= limitMs)
                return false;
            waitSet.lowerTimeout(guardUs);
            waitSet.wait();
        }
    }
    void runFor(uint32_t ms) {
        (void)runUntil([] { return false; }, ms);
    }

    bool statusIs(PlayerStatus status) { return playerStatus(controller.player) == status; }

    // Names of the videos launched so far, in order.
    std::vector<std::string> launches() {
        std::vector<std::string> names;
        for (const std::string& line : readScriptLog()) {
            size_t at = line.find(" start");
            if (at != std::string::npos)
                names.push_back(line.substr(0, at));
        }
        return names;
    }
    // Log lines about one video.
    std::vector<std::string> logOf(const std::string& name) {
        std::vector<std::string> lines;
        for (const std::string& line : readScriptLog()) {
            if (line.compare(0, name.size() + 1, name + " ") == 0)
                lines.push_back(line.substr(name.size() + 1));
        }
        return lines;
    }

    std::string dir;
    sysman::WaitSet waitSet{};
    unsigned passes = 0;
    bool everFailed = false;
};

TEST_F(ControllerTest, EmptyPlaylistFailsOnceAndWaitsForALoad) {
    testing::internal::CaptureStderr();
    runFor(100);
    setRequest(1);
    runFor(100);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not load any videos \n");
    EXPECT_EQ(controller.phase, ControllerPhase::Failed);
    EXPECT_TRUE(launches().empty());

    load({"plays"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(logOf("plays"), ElementsAre("start 100 100 0 0 0", "cmd g"));
}

TEST_F(ControllerTest, EachVideoStartsPausedAndFollowsPlayAndPause) {
    load({"plays"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    setRequest(1);
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    setRequest(0);
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    EXPECT_THAT(logOf("plays"), ElementsAre("start 100 100 0 0 0", "cmd p", "cmd g", "cmd p"));
    EXPECT_EQ(controller.phase, ControllerPhase::Running);
}

TEST_F(ControllerTest, EndedVideoIsStoppedAndTheNextStartsWithTheSameRequest) {
    setRequest(1);
    load({"ends", "plays"});
    ASSERT_TRUE(
        runUntil([&] { return launches().size() == 2 && statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(logOf("ends"), ElementsAre("start 100 100 0 0 0", "cmd g", "cmd q"));
    EXPECT_THAT(logOf("plays"), ElementsAre("start 100 100 0 0 0", "cmd g"));
    EXPECT_EQ(controller.index, 0u) << "the list is circular";
}

TEST_F(ControllerTest, ChildThatGoesWithoutEndingItsVideoIsFollowedByTheNext) {
    for (const char* script : {"fails", "crashes", "quits"}) {
        SCOPED_TRACE(script);
        destroyPlayerProcess(controller.player);
        initController(&waitSet);
        load({script, "plays"});
        ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
        EXPECT_EQ(launches().back(), "plays");
        EXPECT_EQ(*(launches().end() - 2), script);
    }
}

TEST_F(ControllerTest, PlaylistOfFailingEntriesCyclesWithoutGivingUp) {
    load({"fails-a", "fails-b"});
    testing::internal::CaptureStderr();
    ASSERT_TRUE(runUntil([&] { return launches().size() >= 6; }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(everFailed);
    std::vector<std::string> names = launches();
    EXPECT_THAT(std::vector<std::string>(names.begin(), names.begin() + 4),
                ElementsAre("fails-a", "fails-b", "fails-a", "fails-b"));
}

TEST_F(ControllerTest, EntriesThatCannotBeLaunchedAreSkippedAndAllOfThemFail) {
    controller.playlist = {"", dir + "/plays.mp4", ""};
    controller.index = 2;
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    EXPECT_EQ(controller.index, 2u) << "index names the entry after the launched one";

    destroyPlayerProcess(controller.player);
    controller.playlist = {"", ""};
    controller.index = 1;
    controller.phase = ControllerPhase::Idle;
    testing::internal::CaptureStderr();
    stepController();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not load any videos \n");
    EXPECT_EQ(controller.phase, ControllerPhase::Failed);
    EXPECT_EQ(controller.index, 1u) << "every entry tried once";
}

TEST_F(ControllerTest, NextTwiceBeforeAStepSkipsOverOneEntry) {
    setRequest(1);
    load({"plays-a", "plays-b", "plays-c"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    setRequest(3);
    setRequest(3);
    ASSERT_TRUE(
        runUntil([&] { return launches().size() == 2 && statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(launches(), ElementsAre("plays-a", "plays-c"));
}

TEST_F(ControllerTest, StopWhileIdleLaunchesNothingAndNextOnlyMovesTheIndex) {
    setRequest(2);
    setRequest(3);
    EXPECT_EQ(controller.index, 0u) << "no entries to move over";
    load({"plays-a", "plays-b"});
    runFor(100);
    EXPECT_TRUE(launches().empty());
    EXPECT_EQ(controller.phase, ControllerPhase::Idle);
    setRequest(3);
    setRequest(1);
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(launches(), ElementsAre("plays-b"));
}

TEST_F(ControllerTest, StopWhileRunningEndsPlaybackUntilTheNextPlay) {
    setRequest(1);
    load({"plays-a", "plays-b"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    setRequest(2);
    ASSERT_TRUE(runUntil([&] { return controller.phase == ControllerPhase::Idle; }));
    EXPECT_TRUE(statusIs(PlayerStatus::Gone));
    runFor(100);
    EXPECT_THAT(launches(), ElementsAre("plays-a"));
    setRequest(1);
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(launches(), ElementsAre("plays-a", "plays-b"));
}

TEST_F(ControllerTest, StoppedReportAloneLaunchesNothing) {
    load({"stops"});
    ASSERT_TRUE(runUntil([&] { return logOf("stops").size() == 2; }));
    runFor(200);
    EXPECT_EQ(controller.phase, ControllerPhase::Running);
    EXPECT_TRUE(statusIs(PlayerStatus::Stopped));
    EXPECT_EQ(launches().size(), 1u);
}

TEST_F(ControllerTest, DisplayChangeAppliesFromTheNextLaunch) {
    load({"plays-a", "plays-b"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    setDisplay(640, 480, 10, 20, 1);
    setRequest(3);
    ASSERT_TRUE(runUntil([&] { return launches().size() == 2 && statusIs(PlayerStatus::Paused); }));
    EXPECT_EQ(logOf("plays-a").front(), "start 100 100 0 0 0");
    EXPECT_EQ(logOf("plays-b").front(), "start 640 480 10 20 1");
}

TEST_F(ControllerTest, LoadWithoutStopLetsTheCurrentVideoPlayOn) {
    load({"plays-a"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    load({"plays-b"});
    runFor(100);
    EXPECT_THAT(logOf("plays-a"), ElementsAre("start 100 100 0 0 0", "cmd p"));
    EXPECT_FALSE(controller.player.stopPending);
}

// The kill is due strictly after StopGraceMs and must follow within a few milliseconds.
class HungChildTest : public ControllerTest {
  protected:
    void expectKilledOnTime(pid_t hung, uint32_t guardUs) {
        ASSERT_TRUE(controller.player.stopPending);
        uint32_t stopTime = controller.player.stopTime;
        unsigned passesBefore = passes;
        ASSERT_TRUE(runUntil([&] { return controller.player.pid != hung; }, 4000, guardUs));
        uint32_t elapsed = sysman::elapsedMs(stopTime);
        EXPECT_GT(elapsed, StopGraceMs);
        EXPECT_LE(elapsed, StopGraceMs + 15);
        lastWaitPasses = passes - passesBefore;
    }
    unsigned lastWaitPasses = 0;
};

TEST_F(HungChildTest, SkipOverAHungChildKillsItAfterTheGracePeriod) {
    setRequest(1);
    load({"hangs", "plays"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    pid_t hung = controller.player.pid;
    setRequest(3);
    ASSERT_TRUE(runUntil([&] { return controller.phase == ControllerPhase::Stopping; }));
    expectKilledOnTime(hung, 100000);
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Playing); }));
    EXPECT_THAT(launches(), ElementsAre("hangs", "plays"));
}

// A load with stop leaves the controller Running, so only the link's own deadline wakes the
// loop: the guard is set beyond the point where a late kill would show.
TEST_F(HungChildTest, LoadWithStopKillsAHungChildWhenNothingElseWakesTheLoop) {
    load({"hangs"});
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    pid_t hung = controller.player.pid;
    load({"plays"}, true);
    EXPECT_EQ(controller.phase, ControllerPhase::Running);
    expectKilledOnTime(hung, 3000000);
    EXPECT_LT(lastWaitPasses, 10u) << "the loop slept instead of polling";
    ASSERT_TRUE(runUntil([&] { return statusIs(PlayerStatus::Paused); }));
    EXPECT_THAT(launches(), ElementsAre("hangs", "plays"));
}

} // namespace
