// Playback controller: launch loop over the circular playlist, requests, and the phase machine.
#include "supervisor/controller.h"

#include "supervisor/playlist_load.h"
#include "supervisor/plugin_registry.h"
#include "sysman/clock.h"

#include <algorithm>
#include <cstdio>

PlaybackController controller;

// The controller runs again within a millisecond while it waits for a child to go.
static constexpr uint32_t StoppingPollUs = 1000;
static constexpr uint32_t FirstBackoffMs = 1000;
static constexpr uint32_t MaxBackoffMs = 30000;

void initController(sysman::WaitSet* waitSet) {
    controller.waitSet = waitSet;
    controller.phase = ControllerPhase::Idle;
    controller.request = PlaybackRequest::Pause;
    controller.requestPending = false;
    controller.loadFailed = false;
    controller.loading = false;
    controller.display = DisplaySettings{};
    controller.playlist.clear();
    controller.index = 0;
    controller.launchedPath.clear();
    controller.launchedNumber = controller.launchedTotal = 0;
    resetBackoff();
}

void resetBackoff() {
    controller.launchesWithoutPlay = 0;
    controller.backoffMs = 0;
    controller.backingOff = false;
}

// True while the wait after a round without any clip that played is still running.
static bool backingOff() {
    if (controller.launchesWithoutPlay < controller.playlist.size())
        return false;
    if (!controller.backingOff) {
        controller.backoffMs = controller.backoffMs == 0
                                   ? FirstBackoffMs
                                   : std::min(2 * controller.backoffMs, MaxBackoffMs);
        controller.backoffStart = sysman::nowMs();
        controller.backingOff = true;
    }
    if (!controller.waitSet->lowerTimeoutToPeriod(controller.backoffStart, controller.backoffMs))
        return true;
    controller.backingOff = false;
    controller.launchesWithoutPlay = 0;
    return false;
}

void lowerControllerTimeout(uint32_t microseconds) {
    if (controller.waitSet != nullptr)
        controller.waitSet->lowerTimeout(microseconds);
}

static void advanceIndex() {
    if (!controller.playlist.empty())
        controller.index = (controller.index + 1) % controller.playlist.size();
}

static void fail() {
    fputs("Could not load any videos \n", stderr);
    controller.loadFailed = true;
    controller.phase = ControllerPhase::Failed;
}

// Tries each entry at most once, from index on; the index ends after the launched entry. An
// entry that names no file is passed over. When no process or pipe can be had the entry waits
// for the next try: such a launch fails like a player that fails, and the backoff paces the
// retries until the system has the resources again.
static void launchNext() {
    size_t size = controller.playlist.size();
    for (size_t tries = 0; tries < size; ++tries) {
        const std::string& path = controller.playlist[controller.index];
        if (path.empty()) {
            advanceIndex();
            continue;
        }
        ++controller.launchesWithoutPlay;
        if (!launchPlayer(controller.player, path, controller.display)) {
            lowerControllerTimeout(0);
            return;
        }
        controller.launchedPath = path;
        controller.launchedNumber = controller.index + 1;
        controller.launchedTotal = size;
        advanceIndex();
        controller.requestPending = true; // the new child gets the request next step
        controller.phase = ControllerPhase::Running;
        lowerControllerTimeout(0);
        return;
    }
    fail();
}

static void stepIdle() {
    // At most one child: a player that lingers after its end is killed, and the next waits
    // until it has been reaped, as it waits for the registry update.
    const bool noChild = retirePlayer(controller.player);
    // The loop comes back at once to watch the new child, as after a launch.
    if (noChild && updateStaleRegistry(controller.player)) {
        lowerControllerTimeout(0);
        return;
    }
    if (controller.request == PlaybackRequest::Stop || controller.loading)
        return;
    if (controller.playlist.empty()) {
        fail();
        return;
    }
    if (noChild && !backingOff())
        launchNext();
}

static void beginStopping() {
    sendStop(controller.player);
    lowerControllerTimeout(StoppingPollUs);
    controller.phase = ControllerPhase::Stopping;
}

static void applyRequest() {
    controller.requestPending = false;
    switch (controller.request) {
    case PlaybackRequest::Pause:
        sendPause(controller.player);
        break;
    case PlaybackRequest::Play:
        sendPlay(controller.player);
        break;
    case PlaybackRequest::SkipThenPlay:
        controller.request = PlaybackRequest::Play;
        beginStopping();
        break;
    case PlaybackRequest::SkipThenPause:
        controller.request = PlaybackRequest::Pause;
        beginStopping();
        break;
    case PlaybackRequest::Stop:
        beginStopping();
        break;
    case PlaybackRequest::Next: // never stored
        break;
    }
}

// The status is the one pollPlayer left at the start of this step.
static void stepRunning() {
    if (controller.requestPending) {
        applyRequest();
        if (controller.phase == ControllerPhase::Stopping)
            return;
    }
    PlayerStatus status = playerStatus(controller.player);
    if (status == PlayerStatus::Paused || status == PlayerStatus::Playing)
        resetBackoff();
    if (status == PlayerStatus::Ended) {
        beginStopping();
    } else if (status == PlayerStatus::Gone) {
        lowerControllerTimeout(0);
        controller.phase = ControllerPhase::Idle;
    }
}

static void stepStopping() {
    if (playerStatus(controller.player) == PlayerStatus::Gone) {
        lowerControllerTimeout(0);
        controller.phase = ControllerPhase::Idle;
    } else {
        lowerControllerTimeout(StoppingPollUs);
    }
}

// Next: the current child stops and the following entry plays under the same request.
static void skipCurrent() {
    lowerControllerTimeout(0);
    controller.requestPending = true;
    if (controller.request == PlaybackRequest::Play)
        controller.request = PlaybackRequest::SkipThenPlay;
    else if (controller.request == PlaybackRequest::Pause)
        controller.request = PlaybackRequest::SkipThenPause;
    else
        advanceIndex();
}

void stepController() {
    pollPlayer(controller.player, *controller.waitSet);
    pollPlaylistLoad(*controller.waitSet);
    // A child hung before its first report is skipped as a client's Next would skip it.
    if (controller.phase == ControllerPhase::Running && startOverdue(controller.player))
        skipCurrent();
    switch (controller.phase) {
    case ControllerPhase::Idle:
        stepIdle();
        break;
    case ControllerPhase::Running:
        stepRunning();
        break;
    case ControllerPhase::Stopping:
        stepStopping();
        break;
    case ControllerPhase::Failed:
        if (!controller.loadFailed)
            controller.phase = ControllerPhase::Idle;
        break;
    }
}

void setRequest(int value) {
    if (value != static_cast<int>(PlaybackRequest::Stop))
        resetBackoff();
    if (value == static_cast<int>(PlaybackRequest::Next)) {
        skipCurrent();
        return;
    }
    lowerControllerTimeout(0);
    controller.requestPending = true;
    controller.request = static_cast<PlaybackRequest>(value);
}

void setDisplay(int32_t width, int32_t height, int32_t left, int32_t top, int32_t rotation) {
    controller.display = DisplaySettings{width, height, left, top, rotation};
}

void shutdownController() {
    sendStop(controller.player);
    stopPlaylistLoad();
    controller.playlist.clear();
}

static std::string entryText(const char* doing, size_t number, size_t total,
                             const std::string& path) {
    return std::string(doing) + " video " + std::to_string(number) + " of " +
           std::to_string(total) + ": " + path;
}

// What the child launched last is doing.
static std::string childStatus() {
    const char* doing = "Starting";
    if (controller.phase == ControllerPhase::Stopping)
        doing = "Stopping";
    else if (playerStatus(controller.player) == PlayerStatus::Playing)
        doing = "Playing";
    else if (playerStatus(controller.player) == PlayerStatus::Paused)
        doing = "Paused";
    return entryText(doing, controller.launchedNumber, controller.launchedTotal,
                     controller.launchedPath);
}

std::string controllerStatus() {
    const size_t total = controller.playlist.size();
    if (controller.player.registryChild && controller.player.pid != 0)
        return "Updating the plug-in registry";
    if (controller.phase == ControllerPhase::Running ||
        controller.phase == ControllerPhase::Stopping)
        return childStatus();
    if (controller.loading)
        return "Reading the playlist";
    if (total == 0)
        return "No playlist";
    if (controller.phase == ControllerPhase::Failed)
        return "Failed: no video of the playlist can be started";
    if (controller.backingOff)
        return "Waiting " + std::to_string(controller.backoffMs / 1000) +
               " s: no video of the last round played";
    return entryText(controller.request == PlaybackRequest::Stop ? "Stopped before" : "Starting",
                     controller.index + 1, total, controller.playlist[controller.index]);
}
