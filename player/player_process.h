// Entry of a player process: forked by the supervisor, plays one video and exits.
// Called once, on the new process's only thread; never returns.
#pragma once

#include "player/player_types.h"

// commandFd and statusFd are the player's ends of the two pipes, non-blocking.
// Exits with status 0 after an orderly stop, 1 after a failure.
[[noreturn]] void runPlayerProcess(int commandFd, int statusFd, const char* path,
                                   const DisplaySettings& display);

// Entry of the supervisor's one-off registry update: brings GStreamer's plug-in registry up to
// date, so that players need not scan plug-ins, and exits; with ExitRegistryStale when the
// registry file named in GST_REGISTRY is not there afterwards.
[[noreturn]] void updatePluginRegistry();
