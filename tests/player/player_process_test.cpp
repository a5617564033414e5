// Player process seen from the supervisor's side: report bytes and exit status for a played
// clip, a stop signal, a closed command pipe, files the player cannot play and clips that end
// early.
#include "player/player_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A player process forked as the supervisor forks it: empty mask, non-blocking pipes.
struct Player {
    explicit Player(const char* file) {
        int commands[2], statuses[2];
        EXPECT_EQ(pipe2(commands, O_CLOEXEC | O_NONBLOCK) | pipe2(statuses, O_CLOEXEC | O_NONBLOCK),
                  0);
        if ((pid = fork()) == 0) {
            close(commands[1]);
            close(statuses[0]);
            runPlayerProcess(commands[0], statuses[1],
                             (VIDEOD_BINARY_DIR "/media/" + std::string(file)).c_str(), {});
        }
        close(commands[0]);
        close(statuses[1]);
        commandFd = commands[1];
        reportFd = statuses[0];
    }
    // Reads reports until they hold wanted, or the pipe ends, or ten times the idle time.
    bool until(const std::string& wanted) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        struct pollfd ready = {reportFd, POLLIN, 0};
        char byte;
        while (reports.find(wanted) == std::string::npos &&
               std::chrono::steady_clock::now() < deadline)
            if (poll(&ready, 1, 100) > 0 && read(reportFd, &byte, 1) == 1)
                reports += byte;
            else if (ready.revents & POLLHUP)
                break;
        return reports.find(wanted) != std::string::npos;
    }
    // Exit status once the reports have ended; the child is killed if it does not go.
    int exitStatus() {
        until("reports end");
        close(commandFd);
        int status = 0;
        for (int i = 0; i < 1000 && waitpid(pid, &status, WNOHANG) == 0; ++i)
            usleep(10000);
        if (kill(pid, SIGKILL) == 0)
            waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void send(char command) { EXPECT_EQ(write(commandFd, &command, 1), 1); }

    pid_t pid;
    int commandFd, reportFd;
    std::string reports;
};

TEST(PlayerProcess, ReportsEachStateUntilItFinishesOnStop) {
    Player player("clip-a.mp4");
    ASSERT_TRUE(player.until("p")) << player.reports;
    for (const auto& [command, reports] : {std::pair{'g', "pg"}, {'p', "pgp"}, {'g', "pgpge"}}) {
        player.send(command);
        ASSERT_TRUE(player.until(reports)) << player.reports;
    }
    player.send('q');
    EXPECT_EQ(player.exitStatus(), 0);
    // The teardown may report its way down before the last byte.
    EXPECT_EQ(player.reports.back(), 'f') << player.reports;
}

// A stop signal while playing is an orderly stop; a closed command pipe, a failure; a FIFO
// fails at once, never blocking; a file that is no H.264 video ends when asked to play, one
// past 2 GiB too (opened with 64-bit offsets on the 32-bit board).
TEST(PlayerProcess, StopsFailuresAndFilesItCannotPlay) {
    const std::string fifo = "fifo-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo((VIDEOD_BINARY_DIR "/media/" + fifo).c_str(), 0600), 0);
    Player signalled("clip-b.mp4"), closed("clip-a.mp4"), missing(fifo.c_str());
    signalled.send('g');
    ASSERT_TRUE(signalled.until("g") && closed.until("p")) << signalled.reports << closed.reports;
    kill(signalled.pid, SIGTERM);
    close(closed.commandFd);
    closed.commandFd = -1;
    EXPECT_EQ(signalled.exitStatus(), 0);
    EXPECT_EQ(signalled.reports.back(), 'f');
    EXPECT_EQ(closed.exitStatus(), 1);
    EXPECT_EQ(closed.reports, "pf");
    EXPECT_EQ(missing.exitStatus(), 1);
    EXPECT_EQ(missing.reports, "f");
    unlink((VIDEOD_BINARY_DIR "/media/" + fifo).c_str());
    const std::string large = "large-" + std::to_string(getpid()) + ".mp4";
    int fd =
        open((VIDEOD_BINARY_DIR "/media/" + large).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_EQ(ftruncate64(fd, (off64_t{1} << 31) + 1), 0);
    close(fd);
    for (const char* file : {"clip-mpeg4.mp4", "not-a-video.mp4", large.c_str()}) {
        Player player(file);
        player.send('g');
        ASSERT_TRUE(player.until("e")) << player.reports << file;
        player.send('q');
        EXPECT_EQ(player.exitStatus(), 0) << file;
        EXPECT_EQ(player.reports, "ef") << file;
    }
    unlink((VIDEOD_BINARY_DIR "/media/" + large).c_str());
}

// A clip with a sound track passes discovery and plays before its end; a clip that ends while
// it prerolls still reports its end.
TEST(PlayerProcess, PlaysToAReportedEnd) {
    Player audio("clip-audio.mp4"), truncated("truncated.mp4");
    for (Player* player : {&audio, &truncated}) {
        player->send('g');
        ASSERT_TRUE(player->until("e")) << player->reports;
        player->send('q');
        EXPECT_EQ(player->exitStatus(), 0);
    }
    EXPECT_NE(audio.reports.front(), 'e') << audio.reports;
}

} // namespace
