// A player process forked from a test or benchmark: its two pipes, and its log (the
// descriptor 2 it starts with) kept in a file. Used on one thread.
#pragma once

#include "player/player_types.h"

#include <string>
#include <sys/resource.h>
#include <sys/types.h>

class PlayerChild {
  public:
    PlayerChild();
    PlayerChild(const PlayerChild&) = delete;
    PlayerChild& operator=(const PlayerChild&) = delete;
    ~PlayerChild();

    // Forks runPlayerProcess with the supervisor's mask (SIGINT, SIGTERM, SIGCHLD blocked).
    bool start(const std::string& path, const DisplaySettings& display = {});
    void send(char command);
    pid_t pid() const { return child; }

    // Wait until the status bytes or the log hold wanted; false after the time-out.
    bool waitForStatus(const std::string& wanted, int timeoutMs);
    bool waitForLog(const std::string& wanted, int timeoutMs);
    // Reads reports until the status pipe ends and reaps the child; returns its exit status,
    // or -1 when it did not exit normally in time (it is then killed).
    int waitExit(int timeoutMs);
    std::string logText() const;

    std::string statusBytes;
    struct rusage usage {};

  private:
    std::string logFile;
    pid_t child = 0;
    int commandFd = -1;
    int statusFd = -1;
};
