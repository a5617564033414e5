// Player process link against scripted children over real pipes: reports, reaping,
// the stop grace period, descriptor hygiene and teardown without leftover processes.
#include "scripted_player.h"
#include "supervisor/player_link.h"
#include "sysman/clock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A child pid that is neither running nor waiting to be reaped.
bool isGoneForGood(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) < 0 && errno == ECHILD && kill(pid, 0) < 0 &&
           errno == ESRCH;
}

class PlayerLinkTest : public testing::Test {
  protected:
    void SetUp() override {
        installChildSignalRegime();
        waitSet.init();
        dir = makeTempDir();
        useScriptedPlayers(dir + "/log");
    }
    void TearDown() override {
        destroyPlayerProcess(player);
        removeTempDir(dir);
    }

    void launch(const std::string& script) {
        ASSERT_TRUE(launchPlayer(player, dir + "/" + script + ".mp4", DisplaySettings{}));
    }

    // Passes of a loop that has nothing but the player to serve, until the child is reaped;
    // returns the ms from the last stop command to the pass that reaped it.
    uint32_t passUntilReaped(uint32_t limitMs) {
        uint32_t start = sysman::nowMs();
        uint32_t lastStop = player.stopTime;
        for (;;) {
            pollPlayer(player, waitSet);
            if (player.pid == 0 || sysman::elapsedMs(start) >= limitMs)
                return sysman::elapsedMs(lastStop);
            waitSet.lowerTimeout(guardUs);
            waitSet.wait();
        }
    }

    void waitReadable() {
        struct pollfd ready = {player.statusFd, POLLIN, 0};
        ASSERT_EQ(poll(&ready, 1, 2000), 1);
    }

    std::string dir;
    PlayerProcess player;
    sysman::WaitSet waitSet{};
    uint32_t guardUs = 100000;
};

TEST_F(PlayerLinkTest, ReadsOneReportPerPassAndKeepsAFinishedChildUntilReaped) {
    launch("burst");
    EXPECT_EQ(playerStatus(player), PlayerStatus::Stopped);
    waitReadable();
    usleep(20000); // all three bytes are in the pipe
    const PlayerStatus expected[] = {PlayerStatus::Playing, PlayerStatus::Ended,
                                     PlayerStatus::Gone};
    for (PlayerStatus status : expected) {
        pollPlayer(player, waitSet);
        EXPECT_EQ(playerStatus(player), status);
    }
    EXPECT_NE(player.pid, 0) << "\"f\" alone does not reap";
    pid_t pid = player.pid;
    ASSERT_TRUE(launchPlayer(player, dir + "/plays.mp4", DisplaySettings{}));
    EXPECT_TRUE(isGoneForGood(pid)) << "a lingering child is killed before the next launch";
}

TEST_F(PlayerLinkTest, UnknownReportIsRefusedAndLeavesStatus) {
    launch("garbage");
    waitReadable();
    testing::internal::CaptureStderr();
    pollPlayer(player, waitSet);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid char recieved \n");
    EXPECT_EQ(playerStatus(player), PlayerStatus::Stopped);
    sendPlay(player);
    waitReadable();
    pollPlayer(player, waitSet);
    EXPECT_EQ(playerStatus(player), PlayerStatus::Playing);
}

TEST_F(PlayerLinkTest, ChildEndingWithoutReportIsReaped) {
    for (const char* script : {"quits", "crashes"}) {
        launch(script);
        pid_t pid = player.pid;
        passUntilReaped(2000);
        EXPECT_EQ(playerStatus(player), PlayerStatus::Gone) << script;
        EXPECT_EQ(player.statusFd, -1) << script;
        EXPECT_EQ(player.commandFd, -1) << script;
        EXPECT_TRUE(isGoneForGood(pid)) << script;
    }
}

TEST_F(PlayerLinkTest, StopWithoutChildStartsNoTimer) {
    sendStop(player);
    EXPECT_FALSE(player.stopPending);
    sendPlay(player);
    pollPlayer(player, waitSet);
    EXPECT_EQ(waitSet.timeout, sysman::NoTimeout);
}

// Nothing but the link's own time-out wakes this loop: the guard is far beyond the deadline.
TEST_F(PlayerLinkTest, HungChildIsKilledJustAfterTheGracePeriodOfTheLastStop) {
    guardUs = 5000000;
    launch("hangs");
    pid_t pid = player.pid;
    sendStop(player);
    uint32_t firstStop = player.stopTime;
    usleep(1000000);
    pollPlayer(player, waitSet);
    ASSERT_EQ(player.pid, pid);
    sendStop(player);
    uint32_t afterLast = passUntilReaped(4000);
    EXPECT_GT(afterLast, StopGraceMs);
    EXPECT_LE(afterLast, StopGraceMs + 20);
    EXPECT_GT(sysman::elapsedMs(firstStop), StopGraceMs + 900);
    EXPECT_EQ(playerStatus(player), PlayerStatus::Gone);
    EXPECT_TRUE(isGoneForGood(pid));
}

uint64_t fakeMs = 0;

int readFakeClock(struct timeval* value, void*) {
    value->tv_sec = static_cast<time_t>(fakeMs / 1000);
    value->tv_usec = static_cast<suseconds_t>(fakeMs % 1000 * 1000);
    return 0;
}

// The deadline on a clock that stands still between polls, including across the wrap of the
// 32-bit millisecond count.
TEST_F(PlayerLinkTest, GraceRunsOutOnlyAfterMoreThanTwoSeconds) {
    launch("hangs");
    for (uint64_t start : {uint64_t{5000}, uint64_t{0x100000000} - 500}) {
        SCOPED_TRACE(start);
        fakeMs = start;
        sysman::readClock = readFakeClock;
        sendStop(player);
        fakeMs = start + StopGraceMs;
        waitSet.reset();
        pollPlayer(player, waitSet);
        bool aliveAtGrace = player.pid != 0;
        uint32_t timeoutAtGrace = waitSet.timeout;
        fakeMs = start + StopGraceMs + 1;
        pollPlayer(player, waitSet);
        sysman::readClock = sysman::resolveClock;
        EXPECT_TRUE(aliveAtGrace);
        EXPECT_EQ(timeoutAtGrace, 1000u) << "wake for the first millisecond past the grace";
        EXPECT_EQ(player.pid, 0);
        launch("hangs");
    }
}

TEST_F(PlayerLinkTest, EmptyPathKillsTheLiveChildAndFails) {
    launch("hangs");
    pid_t pid = player.pid;
    EXPECT_FALSE(launchPlayer(player, "", DisplaySettings{}));
    EXPECT_EQ(playerStatus(player), PlayerStatus::Gone);
    EXPECT_EQ(player.pid, 0);
    EXPECT_TRUE(isGoneForGood(pid));
}

TEST_F(PlayerLinkTest, DestroyKillsAndReapsALiveChild) {
    launch("hangs");
    pid_t pid = player.pid;
    destroyPlayerProcess(player);
    EXPECT_TRUE(isGoneForGood(pid));
    EXPECT_EQ(player.pid, 0);
}

// Descriptors of this process that a child would inherit.
std::vector<int> inheritableDescriptors() {
    std::vector<int> fds;
    for (int fd = 0; fd < 1024; ++fd) {
        int flags = fcntl(fd, F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0)
            fds.push_back(fd);
    }
    return fds;
}

TEST_F(PlayerLinkTest, ChildKeepsOnlyInheritableDescriptorsAndItsPipes) {
    int closeOnExec = open("/dev/null", O_RDONLY | O_CLOEXEC);
    int inheritable = open("/dev/null", O_RDONLY);
    std::vector<int> expected = inheritableDescriptors();
    launch("fds");
    sendStop(player);
    passUntilReaped(2000);
    (void)close(closeOnExec);
    (void)close(inheritable);

    std::vector<std::string> log = readScriptLog();
    ASSERT_GE(log.size(), 2u);
    std::istringstream fds(log[1].substr(std::string("fds fds").size()));
    std::set<int> open;
    for (int fd; fds >> fd;)
        open.insert(fd);
    EXPECT_EQ(open.count(closeOnExec), 0u) << log[1];
    for (int fd : expected)
        EXPECT_EQ(open.count(fd), 1u) << fd << " in " << log[1];
    EXPECT_EQ(open.size(), expected.size() + 2) << log[1]; // and the two pipe ends
}

// Leaves room for the status pipe only, so that the command pipe cannot be made.
TEST_F(PlayerLinkTest, PipeFailureLeaksNoDescriptor) {
    int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    int probe = open("/dev/null", O_RDONLY | O_CLOEXEC);
    (void)close(lowest);
    (void)close(probe);
    ASSERT_EQ(probe, lowest + 1);
    struct rlimit saved {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    struct rlimit tight = saved;
    tight.rlim_cur = static_cast<rlim_t>(lowest + 2);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    testing::internal::CaptureStderr();
    bool launched = launchPlayer(player, dir + "/plays.mp4", DisplaySettings{});
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Pipe could not be created \n");
    EXPECT_FALSE(launched);
    EXPECT_EQ(player.pid, 0);
    int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    (void)close(after);
    EXPECT_EQ(after, lowest) << "the status pipe was not closed";
}

// The record's destructor runs at process exit and must not leave the child behind.
TEST_F(PlayerLinkTest, ExitOfTheSupervisorTakesTheChildWithIt) {
    int report[2];
    ASSERT_EQ(pipe2(report, O_CLOEXEC), 0);
    pid_t supervisor = fork();
    ASSERT_GE(supervisor, 0);
    if (supervisor == 0) {
        static PlayerProcess atExit;
        if (!launchPlayer(atExit, dir + "/hangs.mp4", DisplaySettings{}))
            _exit(2);
        (void)!write(report[1], &atExit.pid, sizeof atExit.pid);
        exit(0);
    }
    (void)close(report[1]);
    pid_t child = 0;
    ASSERT_EQ(read(report[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    (void)close(report[0]);
    ASSERT_EQ(waitpid(supervisor, nullptr, 0), supervisor);
    bool alive = kill(child, 0) == 0;
    if (alive)
        (void)kill(child, SIGKILL);
    EXPECT_FALSE(alive);
}

} // namespace
