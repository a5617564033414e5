// The supervisor's handle on its one child: a player forked with two pipes, one-byte commands
// and reports, the forced kill of one that outlives its stop grace period, reaping without
// ever blocking; or the one-off plug-in registry update. Also the one launch path of every child.
// Called only from the supervisor's loop thread (controller, playlist loader, process exit).
#pragma once

#include "player/player_types.h"
#include "sysman/wait_set.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <sys/types.h>

// A child that has not exited this long after the last stop command is killed.
constexpr uint32_t StopGraceMs = 2000;
// A child that has not reported this long after its launch is overdue (see startOverdue).
constexpr uint32_t StartReportMs = 10000;
// The plug-in registry update may scan every plug-in on a slow, busy board; it is killed only
// if it hangs.
constexpr uint32_t RegistryUpdateMs = 300000;
// At exit a killed child is waited for this long at most: one stuck in the kernel never dies.
constexpr uint32_t ExitReapMs = 500;

struct PlayerProcess {
    PlayerStatus status;
    uint32_t stopTime;   // nowMs when the last stop command went to a live child
    bool stopPending;    // a stop went to the current child, which has not been reaped since
    uint32_t launchTime; // nowMs when the current child was forked
    bool reported;       // the current child has sent at least one report
    bool killed;         // sent SIGKILL; it lingers until it has gone and been reaped
    bool registryChild;  // the registry update, not a player; its stop grace is its deadline
    bool registryStale;  // the last child reaped exited with ExitRegistryStale
    pid_t pid;           // 0 when there is no child
    int commandFd;       // write end of the command pipe; -1 when none
    int statusFd;        // read end of the status pipe; -1 when none

    // Static construction and process exit; the destructor kills and reaps a live child.
    PlayerProcess();
    ~PlayerProcess();
    PlayerProcess(const PlayerProcess&) = delete;
    PlayerProcess& operator=(const PlayerProcess&) = delete;
};

// What a new child runs: its command read end, its status write end, the video and the
// geometry. It must end the process itself. The service points it at runPlayerProcess
// (player_entry.cpp); tests point it at scripted stand-ins.
using PlayerEntry = void (*)(int commandFd, int statusFd, const char* path,
                             const DisplaySettings& display);
extern PlayerEntry playerEntry;
// What the registry update runs; the service points it at updatePluginRegistry.
extern void (*registryEntry)();

// The one way the service starts a child (player, registry update, playlist reader), like
// fork: 0 in the child, its pid in the parent, -1 after "Process could not be created". The
// child dies with the supervisor, starts with an empty signal mask and default dispositions,
// leads a process group of its own and keeps only 0, 1, 2 and the descriptors in keep.
pid_t launchChild(std::initializer_list<int> keep);
// SIGKILL to a child launched so and to everything in its group: a plug-in scanner it started
// must not outlive it.
void killChildGroup(pid_t pid);

// Waits at most ms for the child to end and reaps it; true when it is gone or was never ours.
bool reapWithin(pid_t pid, uint32_t ms);

void initPlayerProcess(PlayerProcess& player);
// Kills a live child, reaps it if it goes within ExitReapMs, closes both pipes and leaves the
// record with no child.
void destroyPlayerProcess(PlayerProcess& player);
// Starts a player for path; false when no process or pipe could be had, or while a previous
// child has not been reaped (see retirePlayer).
bool launchPlayer(PlayerProcess& player, const std::string& path, const DisplaySettings& display);
// Starts the one-off child that runs registryEntry to bring the plug-in registry up to date;
// false when no process could be had or another child exists.
bool launchRegistryUpdate(PlayerProcess& player);
// Kills a player that has not been reaped yet (it finished, closed its pipe or was killed) and
// lets the registry update run on; true once no child is left, so that another may start.
bool retirePlayer(PlayerProcess& player);
void sendPlay(PlayerProcess& player);
void sendPause(PlayerProcess& player);
// Also starts the stop grace period when a child exists.
void sendStop(PlayerProcess& player);
PlayerStatus playerStatus(const PlayerProcess& player);
// True for a live child that was not told to stop and has not reported within StartReportMs
// of its launch: hung before its first state change.
bool startOverdue(const PlayerProcess& player);
// Once per loop pass: reads at most one report, reaps an ended child, kills one whose grace
// period has run out, and registers what the wait must watch for this child, waking it for
// the grace period's and the first report's deadlines and for SIGCHLD.
void pollPlayer(PlayerProcess& player, sysman::WaitSet& waitSet);
