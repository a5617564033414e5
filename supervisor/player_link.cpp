// Player process link: creates the child, talks to it over two one-byte pipes, reaps it.
#include "supervisor/player_link.h"

#include "sysman/clock.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// The child closes every close-on-exec descriptor below this number.
static constexpr int ChildDescriptorLimit = 1024;

PlayerProcess::PlayerProcess() {
    initPlayerProcess(*this);
}

PlayerProcess::~PlayerProcess() {
    destroyPlayerProcess(*this);
}

void initPlayerProcess(PlayerProcess& player) {
    player.status = PlayerStatus::Gone;
    player.stopTime = 0;
    player.stopPending = false;
    player.launchTime = 0;
    player.reported = false;
    player.killed = false;
    player.registryChild = false;
    player.registryStale = false;
    player.pid = 0;
    player.commandFd = -1;
    player.statusFd = -1;
}

static void closePipes(PlayerProcess& player) {
    (void)close(player.commandFd);
    (void)close(player.statusFd);
    player.commandFd = -1;
    player.statusFd = -1;
}

// Returns the record to "no child"; the child must already be reaped.
static void forgetChild(PlayerProcess& player) {
    // Whatever the child started and left behind goes with it; its group's number stays
    // reserved while the group has members, so this reaches no stranger.
    if (player.pid != 0)
        (void)kill(-player.pid, SIGKILL);
    closePipes(player);
    initPlayerProcess(player);
}

// A child stuck in the kernel does not die at once, or ever: it is reaped when it has gone,
// never waited for.
static void killChild(PlayerProcess& player) {
    if (!player.killed)
        killChildGroup(player.pid);
    player.killed = true;
    player.stopPending = false;
    player.status = PlayerStatus::Gone;
    closePipes(player);
}

// Waits for SIGCHLD rather than polling.
bool reapWithin(pid_t pid, uint32_t ms) {
    sigset_t child, previous;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    (void)sigprocmask(SIG_BLOCK, &child, &previous);
    const uint32_t start = sysman::nowMs();
    bool reaped;
    while (!(reaped = waitpid(pid, nullptr, WNOHANG) != 0) && sysman::elapsedMs(start) < ms) {
        struct timespec rest = {0, static_cast<long>(ms - sysman::elapsedMs(start)) * 1000000};
        (void)sigtimedwait(&child, nullptr, &rest);
    }
    (void)sigprocmask(SIG_SETMASK, &previous, nullptr);
    return reaped;
}

void destroyPlayerProcess(PlayerProcess& player) {
    if (player.pid == 0)
        return;
    killChild(player);
    (void)reapWithin(player.pid, ExitReapMs);
    forgetChild(player);
}

static void closePipe(const int ends[2]) {
    (void)close(ends[0]);
    (void)close(ends[1]);
}

// The signals the supervisor handles or ignores; a child starts with their defaults.
static constexpr int SupervisorSignals[] = {SIGPIPE, SIGINT, SIGTERM, SIGCHLD};

// Runs first in every new child: die with the supervisor, lead a group of its own, take the
// default signal regime, and keep only 0, 1, 2 and the descriptors in keep.
static void becomeChild(pid_t supervisor, std::initializer_list<int> keep) {
    // A supervisor that died before the request was made is no longer the parent.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != supervisor)
        _exit(1);
    (void)setpgid(0, 0);
    for (int signal : SupervisorSignals)
        (void)::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int fd : keep)
        (void)fcntl(fd, F_SETFD, 0);
    for (int fd = 0; fd < ChildDescriptorLimit; ++fd) {
        int flags = fcntl(fd, F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) != 0)
            (void)close(fd);
    }
}

pid_t launchChild(std::initializer_list<int> keep) {
    const pid_t supervisor = getpid();
    const pid_t pid = fork();
    if (pid < 0)
        fputs("Process could not be created", stderr);
    else if (pid == 0)
        becomeChild(supervisor, keep);
    return pid;
}

void killChildGroup(pid_t pid) {
    (void)kill(-pid, SIGKILL);
    (void)kill(pid, SIGKILL); // it may not lead its group yet, but then it has started nothing
}

bool launchPlayer(PlayerProcess& player, const std::string& path, const DisplaySettings& display) {
    if (player.pid != 0 || path.empty())
        return false;

    int statusPipe[2];
    if (pipe2(statusPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        fputs("Pipe could not be created \n", stderr);
        return false;
    }
    int commandPipe[2];
    if (pipe2(commandPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        closePipe(statusPipe);
        fputs("Pipe could not be created \n", stderr);
        return false;
    }

    const pid_t pid = launchChild({commandPipe[0], statusPipe[1]});
    if (pid < 0) {
        closePipe(statusPipe);
        closePipe(commandPipe);
        return false;
    }
    if (pid == 0) {
        playerEntry(commandPipe[0], statusPipe[1], path.c_str(), display);
        // An entry that returns must not go on running the supervisor's code in this process.
        _exit(1);
    }

    (void)close(commandPipe[0]);
    (void)close(statusPipe[1]);
    player.status = PlayerStatus::Stopped;
    player.launchTime = sysman::nowMs();
    player.pid = pid;
    player.commandFd = commandPipe[1];
    player.statusFd = statusPipe[0];
    return true;
}

bool launchRegistryUpdate(PlayerProcess& player) {
    if (player.pid != 0)
        return false;
    const pid_t pid = launchChild({});
    if (pid < 0)
        return false;
    if (pid == 0) {
        registryEntry();
        _exit(1);
    }
    player.pid = pid;
    player.registryChild = true;
    // As if told to stop at once: it is killed when its deadline has passed.
    player.launchTime = player.stopTime = sysman::nowMs();
    player.stopPending = true;
    return true;
}

bool retirePlayer(PlayerProcess& player) {
    if (player.pid != 0 && !player.registryChild)
        killChild(player);
    return player.pid == 0;
}

static void sendCommand(const PlayerProcess& player, char command) {
    if (player.commandFd >= 0)
        (void)!write(player.commandFd, &command, 1);
}

void sendPlay(PlayerProcess& player) {
    sendCommand(player, CommandPlay);
}

void sendPause(PlayerProcess& player) {
    sendCommand(player, CommandPause);
}

void sendStop(PlayerProcess& player) {
    if (player.commandFd < 0)
        return;
    sendCommand(player, CommandStop);
    if (player.pid != 0) {
        // Every stop restarts the grace period.
        player.stopTime = sysman::nowMs();
        player.stopPending = true;
    }
}

PlayerStatus playerStatus(const PlayerProcess& player) {
    return player.status;
}

bool startOverdue(const PlayerProcess& player) {
    return player.pid != 0 && !player.reported && !player.stopPending && !player.killed &&
           sysman::elapsedMs(player.launchTime) > StartReportMs;
}

static void applyReport(PlayerProcess& player, char report) {
    switch (report) {
    case ReportStopped:
        player.status = PlayerStatus::Stopped;
        break;
    case ReportPaused:
        player.status = PlayerStatus::Paused;
        break;
    case ReportPlaying:
        player.status = PlayerStatus::Playing;
        break;
    case ReportEnded:
        player.status = PlayerStatus::Ended;
        break;
    case ReportFinished:
        player.status = PlayerStatus::Gone;
        break;
    default:
        fputs("Invalid char recieved \n", stderr);
        break;
    }
}

// One byte per call: later bytes keep the descriptor readable, so the loop comes back at once.
static void readReport(PlayerProcess& player) {
    char report;
    ssize_t count = read(player.statusFd, &report, 1);
    if (count == 1) {
        player.reported = true;
        applyReport(player, report);
    } else if (count == 0)
        player.status = PlayerStatus::Gone; // the pipes stay open until the child is reaped
    else if (errno != EAGAIN)
        fputs("reading status pipe", stderr);
}

void pollPlayer(PlayerProcess& player, sysman::WaitSet& waitSet) {
    if (player.statusFd >= 0)
        readReport(player);

    int ended = 0;
    if (player.pid != 0 && waitpid(player.pid, &ended, WNOHANG) != 0) {
        // Ended, or no longer ours to wait for (ECHILD): either way there is no child now.
        forgetChild(player);
        player.registryStale = WIFEXITED(ended) && WEXITSTATUS(ended) == ExitRegistryStale;
        return;
    }
    const uint32_t graceMs = player.registryChild ? RegistryUpdateMs : StopGraceMs;
    if (player.stopPending && sysman::elapsedMs(player.stopTime) > graceMs)
        killChild(player);

    if (player.statusFd >= 0)
        (void)waitSet.addRead(player.statusFd);
    if (player.pid != 0)
        waitSet.unblockSignal(SIGCHLD);
    // A hung child neither writes nor exits, so nothing else may wake the loop: wake it once
    // the deadline (the first millisecond past the grace period) has come.
    if (player.stopPending && waitSet.lowerTimeoutToPeriod(player.stopTime, graceMs + 1))
        waitSet.lowerTimeout(0);
    if (player.pid != 0 && !player.reported && !player.stopPending && !player.killed &&
        waitSet.lowerTimeoutToPeriod(player.launchTime, StartReportMs + 1))
        waitSet.lowerTimeout(0);
}
