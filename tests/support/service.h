// The real service binary under test, in a private network namespace: started with only the
// standard descriptors, its descriptor 0 and its output (1 and 2 together, or apart) kept in
// files.
#pragma once

#include "tests/support/client.h"

#include <gtest/gtest.h>

#include <sys/types.h>

namespace testsupport {

// Moves the calling process into a network namespace of its own, so that the abstract control
// socket it and its children use is private; false with the reason when that is not allowed.
bool enterPrivateNetworkNamespace(std::string& why);

class ServiceProcess {
  public:
    // Output is descriptor 1, and 2 too unless the errors are kept apart.
    enum Stream { Input, Output, Errors };

    ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;
    ~ServiceProcess();

    // Before the start: descriptor 2 goes to Errors, not to Output.
    void keepErrorsApart() { errorsApart = true; }
    // Starts the program (default: the built service) once.
    bool start(const std::string& program = "", const std::vector<std::string>& args = {});
    pid_t pid() const { return child; }
    bool waitUntilListening();
    // Sends the signal (0: none) and returns the exit status, or -1 when the process did not
    // exit normally within the time-out (it is then killed).
    int stop(int signal, int timeoutMs = 10000);
    // Everything written so far; the position of wanted at or after offset, or npos when it
    // has not come within the time-out.
    std::string text(Stream stream = Output) const;
    size_t waitFor(const std::string& wanted, int timeoutMs, size_t offset = 0,
                   Stream stream = Output) const;
    std::vector<pid_t> children() const;
    // Processor time the service itself has used so far.
    int cpuMs() const;

  private:
    int files[3]; // in memory, by Stream
    bool errorsApart = false;
    pid_t child = 0;
    int status = -1;
};

// Runs a program to its end; its exit status (or -1) and its output.
std::pair<int, std::string> runProgram(const std::string& path,
                                       const std::vector<std::string>& args);

// Base fixture for tests against the real service, started in the test's own namespace.
class ServiceFixture : public ::testing::Test {
  protected:
    void SetUp() override;
    // Sends a request and returns the reply, or an empty vector after the time-out.
    Bytes ask(ControlClient& client, const Bytes& request, int timeoutMs = 5000);

    ServiceProcess service;
};

} // namespace testsupport
