// Starts and watches the service binary for tests, inside a private network namespace.
#include "tests/support/service.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

using Clock = std::chrono::steady_clock;

bool enterPrivateNetworkNamespace(std::string& why) {
    if (unshare(CLONE_NEWNET) == 0)
        return true;
    why = std::string("needs root to isolate the control socket: ") + strerror(errno);
    return false;
}

ServiceProcess::ServiceProcess() {
    for (int& fd : files)
        fd = memfd_create("service-output", MFD_CLOEXEC);
}

ServiceProcess::~ServiceProcess() {
    if (child > 0 && status < 0)
        (void)stop(SIGKILL);
    for (int fd : files)
        close(fd);
}

bool ServiceProcess::start(const std::string& program, const std::vector<std::string>& args) {
    std::vector<std::string> argv = {program.empty() ? VIDEOD_BINARY_DIR "/supervisor/videod"
                                                     : program};
    argv.insert(argv.end(), args.begin(), args.end());
    child = fork();
    if (child == 0) {
        // Only the standard three and an empty mask, as a service manager would start it.
        dup2(files[Input], 0);
        dup2(files[Output], 1);
        dup2(files[errorsApart ? Errors : Output], 2);
        close_range(3, ~0u, 0);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        std::vector<char*> pointers;
        for (std::string& arg : argv)
            pointers.push_back(arg.data());
        pointers.push_back(nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    return child > 0;
}

bool ServiceProcess::waitUntilListening() {
    for (auto deadline = Clock::now() + std::chrono::seconds(10); Clock::now() < deadline;
         usleep(10000)) {
        ControlClient probe;
        if (probe.open())
            return true;
    }
    return false;
}

std::string ServiceProcess::text(Stream stream) const {
    std::ifstream file("/proc/self/fd/" + std::to_string(files[stream]), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

size_t ServiceProcess::waitFor(const std::string& wanted, int timeoutMs, size_t offset,
                               Stream stream) const {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    size_t at;
    while ((at = text(stream).find(wanted, offset)) == std::string::npos && Clock::now() < deadline)
        usleep(2000);
    return at;
}

int ServiceProcess::stop(int signal, int timeoutMs) {
    if (status < 0)
        kill(child, signal);
    for (auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
         status < 0 && waitpid(child, &status, WNOHANG) == 0 && Clock::now() < deadline;)
        usleep(5000);
    if (status < 0) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<pid_t> ServiceProcess::children() const {
    std::string id = std::to_string(child);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> found;
    for (pid_t pid; list >> pid;)
        found.push_back(pid);
    return found;
}

int ServiceProcess::cpuMs() const {
    std::ifstream stat("/proc/" + std::to_string(child) + "/stat");
    std::string field;
    long ticks = 0;
    for (int i = 1; i <= 15 && stat >> field; ++i)
        ticks += i >= 14 ? std::stol(field) : 0; // user and system time
    return static_cast<int>(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

std::pair<int, std::string> runProgram(const std::string& path,
                                       const std::vector<std::string>& args) {
    ServiceProcess program;
    program.start(path, args);
    int status = program.stop(0, 10000);
    return {status, program.text()};
}

void ServiceFixture::SetUp() {
    std::string why;
    if (!enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    ASSERT_TRUE(service.start());
    ASSERT_TRUE(service.waitUntilListening()) << service.text();
}

Bytes ServiceFixture::ask(ControlClient& client, const Bytes& request, int timeoutMs) {
    EXPECT_TRUE(client.send(request));
    return client.receive(timeoutMs);
}

} // namespace testsupport
