// Playback controller: decides what the service plays. Owns the playlist, the display
// geometry, the current request and the one player process, and steps a small state machine
// once per loop pass. Called only from the supervisor's loop thread: main (init, step,
// shutdown), request handling (the setters) and the playlist loader.
#pragma once

#include "player/player_types.h"
#include "supervisor/player_link.h"
#include "sysman/wait_set.h"

#include <cstdint>
#include <string>
#include <vector>

enum class ControllerPhase : int32_t { Idle = 0, Running = 1, Stopping = 2, Failed = 3 };

enum class PlaybackRequest : int32_t {
    Pause = 0,
    Play = 1,
    Stop = 2,
    Next = 3, // only an argument of setRequest; never stored
    SkipThenPlay = 4,
    SkipThenPause = 5,
};

// Full paths of the videos, played in a circle.
using Playlist = std::vector<std::string>;

struct PlaybackController {
    sysman::WaitSet* waitSet; // the main loop's, where time-outs are lowered
    ControllerPhase phase;
    PlaybackRequest request;
    bool requestPending; // request not yet applied to the current child
    bool loadFailed;     // no entry could be launched; cleared only by loadPlaylist
    bool loading;        // a playlist is being read: nothing is launched, nothing has failed
    DisplaySettings display;
    Playlist playlist; // constructed before the player and destroyed after it
    uint32_t index;    // next entry to launch; below the playlist size unless it is empty
    // A whole round of launches none of which reached Paused or Playing makes the next round
    // wait, 1 s at first and twice as long each round after, up to 30 s.
    uint32_t launchesWithoutPlay;
    uint32_t backoffMs; // the current wait between rounds; 0 when none has been needed
    uint32_t backoffStart;
    bool backingOff; // waiting for backoffMs since backoffStart before the next launch
    // The entry of the child launched last, as it was then: a new playlist may come meanwhile.
    std::string launchedPath;
    size_t launchedNumber; // from 1
    size_t launchedTotal;
    PlayerProcess player;
};

// The one controller, with static storage.
extern PlaybackController controller;

// Sets every field but the player process to its initial value.
void initController(sysman::WaitSet* waitSet);
void stepController();
// 0 Pause, 1 Play, 2 Stop, 3 Next; all but Stop also reset the backoff.
void setRequest(int value);
// Takes effect at the next launch.
void setDisplay(int32_t width, int32_t height, int32_t left, int32_t top, int32_t rotation);
// Tells a running child to stop, ends a playlist load and empties the playlist; the child is
// killed at exit.
void shutdownController();
// Lowers the loop's time-out, if the controller has a loop yet.
void lowerControllerTimeout(uint32_t microseconds);
// One line on what the service is doing: the phase, and the video's number, the playlist's
// size and the video's path where one is concerned.
std::string controllerStatus();
// Forgets failed rounds: the next round starts at once. A new playlist, a client's request
// and a clip that plays do so.
void resetBackoff();
