// The real service binary under test: started with its descriptor 0 and standard error
// captured, stopped by signal, its output searchable while it runs.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace testsupport {

class ServiceProcess {
  public:
    ServiceProcess() = default;
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;
    ~ServiceProcess();

    // Starts the program (default: the built service) in the given working directory;
    // false while a process it started is still running.
    bool start(const std::string& program = "", const std::string& workDir = "",
               const std::vector<std::string>& args = {});
    pid_t pid() const { return child; }
    // Waits until a client can connect to the control socket.
    bool waitUntilListening(int timeoutMs = 5000);
    // Sends the signal and returns the exit status, or -1 when the process did not exit
    // normally within the time-out (it is then killed).
    int stop(int signal, int timeoutMs = 5000);
    int waitExit(int timeoutMs);

    // Everything written so far to standard error, and to descriptor 0.
    const std::string& errorText();
    const std::string& inputText();
    const std::string& outputText();
    // Waits until standard error contains text, at or after offset; returns its position
    // or std::string::npos after the time-out.
    size_t waitForError(const std::string& text, int timeoutMs, size_t offset = 0);
    size_t waitForOutput(const std::string& text, int timeoutMs, size_t offset = 0);
    // Child processes of the service, read from /proc.
    std::vector<pid_t> children() const;

  private:
    void drain(int timeoutMs);
    pid_t child = 0;
    int status = 0;
    bool exited = false;
    int inputFd = -1;
    int errorFd = -1;
    int outputFd = -1;
    std::string input;
    std::string error;
    std::string output;
};

} // namespace testsupport
