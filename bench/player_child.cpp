// Forks and watches a player process for tests and benchmarks.
#include "bench/player_child.h"

#include "player/player_process.h"

#include <gst/gst.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;

PlayerChild::PlayerChild() {
    char name[] = "/tmp/player-logXXXXXX";
    close(mkstemp(name));
    logFile = name;
}

PlayerChild::~PlayerChild() {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    close(commandFd);
    close(statusFd);
    unlink(logFile.c_str());
}

bool PlayerChild::start(const std::string& path, const DisplaySettings& display) {
    int command[2], status[2];
    if (pipe2(command, O_CLOEXEC | O_NONBLOCK) || pipe2(status, O_CLOEXEC | O_NONBLOCK))
        return false;
    fflush(nullptr);
    child = fork();
    if (child == 0) {
        // As the supervisor's child: its own pipe ends, the default signal regime.
        dup2(open(logFile.c_str(), O_WRONLY | O_APPEND), 2);
        gst_registry_fork_set_enabled(FALSE);
        runPlayerProcess(command[0], status[1], path.c_str(), display);
    }
    close(command[0]);
    close(status[1]);
    commandFd = command[1];
    statusFd = status[0];
    return child > 0;
}

void PlayerChild::send(char command) {
    (void)!write(commandFd, &command, 1);
}

bool PlayerChild::waitForStatus(const std::string& wanted, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (statusBytes.find(wanted) == std::string::npos && Clock::now() < deadline) {
        struct pollfd ready = {statusFd, POLLIN, 0};
        char buffer[64];
        ssize_t got = poll(&ready, 1, 10) > 0 ? read(statusFd, buffer, sizeof buffer) : -1;
        if (got == 0)
            return false;
        statusBytes.append(buffer, got > 0 ? size_t(got) : 0);
    }
    return statusBytes.find(wanted) != std::string::npos;
}

bool PlayerChild::waitForLog(const std::string& wanted, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (logText().find(wanted) == std::string::npos && Clock::now() < deadline)
        usleep(1000);
    return logText().find(wanted) != std::string::npos;
}

std::string PlayerChild::logText() const {
    std::ifstream file(logFile);
    return {std::istreambuf_iterator<char>(file), {}};
}

int PlayerChild::waitExit(int timeoutMs) {
    (void)waitForStatus("end of the pipe", timeoutMs);
    int status = 0;
    pid_t reaped = 0;
    for (auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
         (reaped = wait4(child, &status, WNOHANG, &usage)) == 0 && Clock::now() < deadline;)
        usleep(1000);
    if (reaped != child) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    child = 0;
    return reaped > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
