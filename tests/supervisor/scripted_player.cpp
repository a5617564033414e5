// Scripted stand-in player processes: small loops over the real pipes, no media at all.
#include "scripted_player.h"

#include "supervisor/player_link.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <unistd.h>

PlayerEntry playerEntry = nullptr;

static std::string scriptLogPath;

static void logLine(const std::string& line) {
    int fd = open(scriptLogPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    std::string text = line + "\n";
    (void)!write(fd, text.data(), text.size());
    (void)close(fd);
}

static void report(int statusFd, char byte) {
    (void)!write(statusFd, &byte, 1);
}

// The file name without its extension, as the log shows it.
static std::string videoName(const char* path) {
    const char* base = strrchr(path, '/');
    std::string name = base == nullptr ? path : base + 1;
    return name.substr(0, name.find('.'));
}

static std::string openDescriptors() {
    std::string list;
    DIR* dir = opendir("/proc/self/fd");
    int own = dirfd(dir);
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.' && atoi(entry->d_name) != own)
            list += std::string(" ") + entry->d_name;
    }
    closedir(dir);
    return list;
}

[[noreturn]] static void sleepForever() {
    for (;;)
        (void)pause();
}

// Blocks until one command byte arrives; -1 when the command pipe is closed.
static int nextCommand(int commandFd) {
    for (;;) {
        struct pollfd ready = {commandFd, POLLIN, 0};
        (void)poll(&ready, 1, -1);
        char byte;
        ssize_t count = read(commandFd, &byte, 1);
        if (count == 1)
            return static_cast<unsigned char>(byte);
        if (count == 0)
            return -1;
    }
}

[[noreturn]] static void commandLoop(const std::string& name, const std::string& script,
                                     int commandFd, int statusFd) {
    for (;;) {
        int command = nextCommand(commandFd);
        if (command >= 0)
            logLine(name + " cmd " + static_cast<char>(command));
        if (script == "hangs" && command == CommandStop)
            continue;
        if (script == "hangs" && command < 0)
            sleepForever();
        if (command < 0 || command == CommandStop) {
            report(statusFd, ReportFinished);
            _exit(0);
        }
        if (command != CommandPlay && command != CommandPause)
            continue;
        report(statusFd, script == "stops" ? ReportStopped : static_cast<char>(command));
        if (script == "ends" && command == CommandPlay)
            report(statusFd, ReportEnded);
    }
}

static void runScript(int commandFd, int statusFd, const char* path,
                      const DisplaySettings& display) {
    std::string name = videoName(path);
    std::string script = name.substr(0, name.find('-'));
    std::string descriptors = openDescriptors();
    std::ostringstream start;
    start << name << " start " << display.width << ' ' << display.height << ' ' << display.left
          << ' ' << display.top << ' ' << display.rotation;
    logLine(start.str());
    if (script == "fds")
        logLine(name + " fds" + descriptors);
    if (script == "fails") {
        report(statusFd, ReportFinished);
        _exit(1);
    }
    if (script == "crashes")
        (void)raise(SIGKILL);
    if (script == "quits")
        _exit(0);
    if (script == "burst") {
        (void)!write(statusFd, "gef", 3);
        sleepForever();
    }
    if (script == "garbage")
        report(statusFd, 'x');
    commandLoop(name, script, commandFd, statusFd);
}

void useScriptedPlayers(const std::string& logPath) {
    scriptLogPath = logPath;
    playerEntry = runScript;
}

std::vector<std::string> readScriptLog() {
    std::vector<std::string> lines;
    std::ifstream file(scriptLogPath);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

static void onChildSignal(int) {}

void installChildSignalRegime() {
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    (void)sigprocmask(SIG_BLOCK, &child, nullptr);
    struct sigaction action {};
    action.sa_handler = onChildSignal;
    sigemptyset(&action.sa_mask);
    (void)sigaction(SIGCHLD, &action, nullptr);
}

std::string makeTempDir() {
    char name[] = "/tmp/supervisor-test-XXXXXX";
    return mkdtemp(name) == nullptr ? std::string() : std::string(name);
}

void removeTempDir(const std::string& dir) {
    std::error_code ignored;
    (void)std::filesystem::remove_all(dir, ignored);
}

void writeTextFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}
