// Scripted stand-in player processes: small loops over the real pipes, no media at all.
#include "scripted_player.h"

#include "supervisor/player_link.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

PlayerEntry playerEntry = nullptr;
void (*registryEntry)() = nullptr;

static void runScript(int commandFd, int statusFd, const char* path, const DisplaySettings&) {
    const char* base = strrchr(path, '/');
    std::string name = base == nullptr ? path : base + 1;
    const std::string script = name.substr(0, name.find_first_of("-."));
    char command = ReportFinished;
    if (script == "fails") {
        (void)!write(statusFd, &command, 1);
        _exit(1);
    }
    (void)fcntl(commandFd, F_SETFL, 0); // nothing else to do, so it blocks here
    while (script == "plays" && read(commandFd, &command, 1) == 1 && command != CommandStop)
        (void)!write(statusFd, &command, 1);
    if (script == "plays") {
        command = ReportFinished;
        (void)!write(statusFd, &command, 1);
        _exit(0);
    }
    for (;;)
        pause();
}

static void onChildSignal(int) {}

void useScriptedPlayers() {
    playerEntry = runScript;
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    (void)sigprocmask(SIG_BLOCK, &child, nullptr);
    struct sigaction action {};
    action.sa_handler = onChildSignal;
    (void)sigaction(SIGCHLD, &action, nullptr);
}
