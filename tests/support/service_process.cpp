// Runs the service binary as a child of the test with its output captured through pipes.
#include "tests/support/service_process.h"

#include "tests/support/control_client.h"
#include "tests/support/program_run.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <linux/close_range.h>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace testsupport {

using Clock = std::chrono::steady_clock;

static int remainingMs(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

ServiceProcess::~ServiceProcess() {
    if (child > 0 && !exited)
        (void)stop(SIGKILL, 2000);
    for (int fd : {inputFd, errorFd, outputFd})
        if (fd >= 0)
            close(fd);
}

bool ServiceProcess::start(const std::string& program, const std::string& workDir,
                           const std::vector<std::string>& args) {
    if (child > 0 && !exited)
        return false;
    for (int* fd : {&inputFd, &errorFd, &outputFd}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
    exited = false;
    status = 0;
    input.clear();
    error.clear();
    output.clear();
    std::string path =
        program.empty() ? std::string(VIDEOD_BINARY_DIR) + "/supervisor/videod" : program;
    // Descriptor 0 is a socket so the service can write its stop message to it.
    int inputPair[2];
    int errorPipe[2];
    int outputPipe[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, inputPair) != 0)
        return false;
    if (pipe2(errorPipe, O_CLOEXEC) != 0 || pipe2(outputPipe, O_CLOEXEC) != 0)
        return false;
    child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        dup2(inputPair[1], 0);
        dup2(outputPipe[1], 1);
        dup2(errorPipe[1], 2);
        // Only the standard three, as a service manager would start it.
        close_range(3, ~0u, 0);
        if (!workDir.empty() && chdir(workDir.c_str()) != 0)
            _exit(126);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execProgram(path, args);
    }
    close(inputPair[1]);
    close(errorPipe[1]);
    close(outputPipe[1]);
    inputFd = inputPair[0];
    errorFd = errorPipe[0];
    outputFd = outputPipe[0];
    for (int fd : {inputFd, errorFd, outputFd})
        fcntl(fd, F_SETFL, O_NONBLOCK);
    return true;
}

bool ServiceProcess::waitUntilListening(int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline) {
        ControlClient probe;
        if (probe.connect())
            return true;
        drain(10);
    }
    return false;
}

void ServiceProcess::drain(int timeoutMs) {
    struct pollfd fds[3] = {{inputFd, POLLIN, 0}, {errorFd, POLLIN, 0}, {outputFd, POLLIN, 0}};
    std::string* sinks[3] = {&input, &error, &output};
    if (poll(fds, 3, timeoutMs) <= 0)
        return;
    for (int i = 0; i < 3; ++i) {
        if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP)))
            continue;
        char buffer[4096];
        ssize_t n;
        while ((n = read(fds[i].fd, buffer, sizeof buffer)) > 0)
            sinks[i]->append(buffer, static_cast<size_t>(n));
    }
}

const std::string& ServiceProcess::errorText() {
    drain(0);
    return error;
}

const std::string& ServiceProcess::inputText() {
    drain(0);
    return input;
}

const std::string& ServiceProcess::outputText() {
    drain(0);
    return output;
}

size_t ServiceProcess::waitForError(const std::string& text, int timeoutMs, size_t offset) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        size_t at = error.find(text, offset);
        if (at != std::string::npos)
            return at;
        if (Clock::now() >= deadline)
            return std::string::npos;
        drain(std::min(remainingMs(deadline), 20));
    }
}

size_t ServiceProcess::waitForOutput(const std::string& text, int timeoutMs, size_t offset) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        size_t at = output.find(text, offset);
        if (at != std::string::npos)
            return at;
        if (Clock::now() >= deadline)
            return std::string::npos;
        drain(std::min(remainingMs(deadline), 20));
    }
}

int ServiceProcess::waitExit(int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!exited) {
        pid_t r = waitpid(child, &status, WNOHANG);
        if (r == child) {
            exited = true;
            break;
        }
        if (Clock::now() >= deadline)
            return -1;
        drain(5);
    }
    drain(0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int ServiceProcess::stop(int signal, int timeoutMs) {
    if (child <= 0)
        return -1;
    if (!exited)
        kill(child, signal);
    int result = waitExit(timeoutMs);
    if (!exited) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        exited = true;
        return -1;
    }
    return result;
}

std::vector<pid_t> ServiceProcess::children() const {
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    if (!proc)
        return found;
    while (struct dirent* entry = readdir(proc)) {
        pid_t pid = static_cast<pid_t>(atoi(entry->d_name));
        if (pid <= 0)
            continue;
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string line;
        std::getline(stat, line);
        size_t close = line.rfind(')');
        if (close == std::string::npos)
            continue;
        std::istringstream rest(line.substr(close + 2));
        char state;
        pid_t parent;
        rest >> state >> parent;
        if (parent == child)
            found.push_back(pid);
    }
    closedir(proc);
    return found;
}

} // namespace testsupport
