// A player process forked from a test or benchmark: its pipes, its log (the descriptor 2 it
// started with) and its standard output, collected while it runs. Used on one thread.
#pragma once

#include "player/player_types.h"

#include <string>
#include <sys/resource.h>
#include <sys/types.h>

class PlayerChild {
  public:
    PlayerChild() = default;
    PlayerChild(const PlayerChild&) = delete;
    PlayerChild& operator=(const PlayerChild&) = delete;
    ~PlayerChild();

    // Forks runPlayerProcess with the supervisor's mask (SIGINT, SIGTERM, SIGCHLD blocked).
    // environment: "NAME=value" pairs separated by ';' set in the child before it starts.
    bool start(const std::string& path, const DisplaySettings& display = {},
               const std::string& environment = "");
    void send(char command);
    void closeCommands();
    pid_t pid() const { return child; }

    // Collects output until the status bytes hold wanted (or the pipe ends), at most timeoutMs.
    bool waitForStatus(char wanted, int timeoutMs);
    bool waitForLog(const std::string& text, int timeoutMs);
    // Collects until the status pipe ends and reaps the child; returns its exit status, or
    // -1 when it did not exit normally in time (it is then killed).
    int waitExit(int timeoutMs);

    std::string statusBytes;
    std::string logText;
    std::string outputText;
    struct rusage usage {};

  private:
    // One poll over the open pipes for at most timeoutMs; false once every pipe has ended.
    bool collect(int timeoutMs);

    pid_t child = 0;
    int commandFd = -1;
    int statusFd = -1;
    int logFd = -1;
    int outputFd = -1;
};
