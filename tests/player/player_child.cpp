// Forks and watches a player process for tests and benchmarks.
#include "tests/player/player_child.h"

#include "player/player_process.h"

#include <gst/gst.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? int(left.count()) : 0;
}

void closeFd(int& fd) {
    if (fd >= 0)
        close(fd);
    fd = -1;
}

[[noreturn]] void runChild(int commandFd, int statusFd, int logFd, int outputFd,
                           const std::string& path, const DisplaySettings& display,
                           const std::string& environment) {
    dup2(logFd, 2);
    dup2(outputFd, 1);
    std::istringstream pairs(environment);
    for (std::string pair; std::getline(pairs, pair, ';');) {
        size_t equals = pair.find('=');
        if (equals != std::string::npos)
            setenv(pair.substr(0, equals).c_str(), pair.substr(equals + 1).c_str(), 1);
    }
    sigset_t supervisorMask;
    sigemptyset(&supervisorMask);
    sigaddset(&supervisorMask, SIGINT);
    sigaddset(&supervisorMask, SIGTERM);
    sigaddset(&supervisorMask, SIGCHLD);
    sigprocmask(SIG_SETMASK, &supervisorMask, nullptr);
    signal(SIGPIPE, SIG_IGN);
    gst_registry_fork_set_enabled(FALSE);
    runPlayerProcess(commandFd, statusFd, path.c_str(), display);
}

} // namespace

PlayerChild::~PlayerChild() {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    for (int* fd : {&commandFd, &statusFd, &logFd, &outputFd})
        closeFd(*fd);
}

bool PlayerChild::start(const std::string& path, const DisplaySettings& display,
                        const std::string& environment) {
    int command[2];
    int status[2];
    int log[2];
    int output[2];
    if (pipe2(command, O_CLOEXEC | O_NONBLOCK) || pipe2(status, O_CLOEXEC | O_NONBLOCK) ||
        pipe2(log, O_CLOEXEC | O_NONBLOCK) || pipe2(output, O_CLOEXEC | O_NONBLOCK))
        return false;
    fflush(nullptr);
    child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        // The supervisor's child keeps only its own ends, as here.
        for (int parentEnd : {command[1], status[0], log[0], output[0]})
            close(parentEnd);
        runChild(command[0], status[1], log[1], output[1], path, display, environment);
    }
    close(command[0]);
    close(status[1]);
    close(log[1]);
    close(output[1]);
    commandFd = command[1];
    statusFd = status[0];
    logFd = log[0];
    outputFd = output[0];
    return true;
}

void PlayerChild::send(char command) {
    (void)!write(commandFd, &command, 1);
}

void PlayerChild::closeCommands() {
    closeFd(commandFd);
}

bool PlayerChild::collect(int timeoutMs) {
    struct pollfd fds[3] = {{statusFd, POLLIN, 0}, {logFd, POLLIN, 0}, {outputFd, POLLIN, 0}};
    std::string* texts[3] = {&statusBytes, &logText, &outputText};
    int* owners[3] = {&statusFd, &logFd, &outputFd};
    if (statusFd < 0 && logFd < 0 && outputFd < 0)
        return false;
    if (poll(fds, 3, timeoutMs) <= 0)
        return true;
    for (int i = 0; i < 3; ++i) {
        if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP)))
            continue;
        char buffer[4096];
        ssize_t got = read(fds[i].fd, buffer, sizeof buffer);
        if (got > 0)
            texts[i]->append(buffer, size_t(got));
        else if (got == 0 || errno != EAGAIN)
            closeFd(*owners[i]);
    }
    return true;
}

bool PlayerChild::waitForStatus(char wanted, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (statusBytes.find(wanted) == std::string::npos) {
        if (statusFd < 0 || msLeft(deadline) == 0)
            return false;
        collect(msLeft(deadline));
    }
    return true;
}

bool PlayerChild::waitForLog(const std::string& text, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (logText.find(text) == std::string::npos) {
        if (logFd < 0 || msLeft(deadline) == 0)
            return false;
        collect(msLeft(deadline));
    }
    return true;
}

int PlayerChild::waitExit(int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (statusFd >= 0 && msLeft(deadline) > 0)
        collect(msLeft(deadline));
    int status = 0;
    pid_t reaped = 0;
    while ((reaped = wait4(child, &status, WNOHANG, &usage)) == 0 && msLeft(deadline) > 0)
        collect(1);
    if (reaped != child) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        child = 0;
        return -1;
    }
    child = 0;
    for (int pass = 0; pass < 100 && collect(10); ++pass) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
