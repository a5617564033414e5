// Scripted stand-in player processes: small loops over the real pipes, no media at all.
#include "scripted_player.h"

#include "supervisor/player_link.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

PlayerEntry playerEntry = nullptr;

static std::string scriptLogPath;

static void logLine(const std::string& line) {
    std::ofstream(scriptLogPath, std::ios::app) << line << '\n';
}

static void report(int statusFd, char byte) {
    (void)!write(statusFd, &byte, 1);
}

static void runScript(int commandFd, int statusFd, const char* path, const DisplaySettings&) {
    const char* base = strrchr(path, '/');
    std::string name = base == nullptr ? path : base + 1;
    name = name.substr(0, name.find('.'));
    std::string script = name.substr(0, name.find('-'));
    logLine(name + " start");
    if (script == "fails") {
        report(statusFd, ReportFinished);
        _exit(1);
    }
    // The command pipe is non-blocking; a script has nothing else to do, so it blocks here.
    (void)fcntl(commandFd, F_SETFL, 0);
    for (;;) {
        char command = 0;
        bool closed = read(commandFd, &command, 1) <= 0;
        if (!closed)
            logLine(name + " cmd " + command);
        if (script == "hangs" && (closed || command == CommandStop)) {
            if (closed)
                for (;;)
                    (void)pause();
            continue;
        }
        if (closed || command == CommandStop) {
            report(statusFd, ReportFinished);
            _exit(0);
        }
        report(statusFd, command);
        if (script == "ends" && command == CommandPlay)
            report(statusFd, ReportEnded);
    }
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
    std::ofstream(path, std::ios::binary) << text;
}
