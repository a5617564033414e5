// The life of a player process: signals, log, GStreamer, and the loop that turns command
// bytes into Player operations and status changes into report bytes.
#include "player/player_process.h"

#include "player/media_pipeline.h"
#include "player/player.h"
#include "player/player_log.h"
#include "sysman/wait_set.h"

#include <gst/gst.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr uint32_t PassTimeoutUs = 1000;

std::atomic<bool> stopSignalled{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void onStopSignal(int) {
    stopSignalled = true;
}

void installStopHandler() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void reportChange(Player& player, PlayerStatus& lastReported, int statusFd) {
    PlayerStatus now = player.status();
    if (now == lastReported)
        return;
    lastReported = now;
    char report = 0;
    switch (now) {
    case PlayerStatus::Stopped:
        report = ReportStopped;
        break;
    case PlayerStatus::Paused:
        report = ReportPaused;
        break;
    case PlayerStatus::Playing:
        report = ReportPlaying;
        break;
    case PlayerStatus::Ended:
        report = ReportEnded;
        break;
    default:
        return;
    }
    (void)!write(statusFd, &report, 1);
}

// Sleeps 1 ms at a time until the worker has released its pipeline.
void awaitWorker(Player& player, sysman::WaitSet& waitSet, int commandFd) {
    waitSet.addRead(commandFd);
    while (!player.finished()) {
        waitSet.lowerTimeout(PassTimeoutUs);
        waitSet.wait();
    }
}

enum class Pass { Continue, Stop, Fail };

// One pass of the command loop after its wait.
Pass handleCommand(Player& player, int commandFd) {
    if (stopSignalled) {
        player.stop();
        return Pass::Stop;
    }
    char command = 0;
    ssize_t got = read(commandFd, &command, 1);
    if (got == 0) {
        fprintf(playerLog(), "Control pipe closed!");
        return Pass::Fail;
    }
    if (got < 0) {
        if (errno == EAGAIN)
            return Pass::Continue;
        fprintf(playerLog(), "reading command pipe: %s", strerror(errno));
        return Pass::Fail;
    }
    if (command == CommandPause)
        player.pause();
    else if (command == CommandPlay)
        player.play();
    else if (command == CommandStop) {
        player.stop();
        return Pass::Stop;
    }
    return Pass::Continue;
}

[[noreturn]] void finish(Player* player, sysman::WaitSet& waitSet, int commandFd, int statusFd,
                         int exitStatus) {
    waitSet.destroy();
    delete player;
    (void)!write(statusFd, &ReportFinished, 1);
    close(statusFd);
    close(commandFd);
    gst_deinit();
    exit(exitStatus);
}

} // namespace

void runPlayerProcess(int commandFd, int statusFd, const char* path,
                      const DisplaySettings& display) {
    stopSignalled = false;
    installStopHandler();
    if (!path || !*path) {
        close(statusFd);
        close(commandFd);
        exit(1);
    }
    openPlayerLog();
    dup2(1, 2);
    // The supervisor brought the registry up to date at its start; an explicit choice of the
    // environment is kept. Without a registry file GStreamer scans all the same.
    setenv("GST_REGISTRY_UPDATE", "no", 0);
    gst_init(nullptr, nullptr);

    auto* player = new Player;
    sysman::WaitSet waitSet;
    waitSet.init();
    if (!player->start(path, display))
        finish(player, waitSet, commandFd, statusFd, 1);

    PlayerStatus lastReported = PlayerStatus::Stopped;
    waitSet.lowerTimeout(0);
    for (;;) {
        waitSet.wait();
        // Nothing can play before the registry is brought up to date, which the supervisor
        // does when a player exits so; an exit before the end of the status pipe tells it.
        if (MediaPipeline::elementsMissing) {
            (void)fflush(nullptr);
            _exit(ExitRegistryStale);
        }
        Pass pass = handleCommand(*player, commandFd);
        // After a failure "f" is the next report: the worker still releases GStreamer
        // before gst_deinit, but its status changes are not reported.
        if (pass == Pass::Fail) {
            player->stop();
            awaitWorker(*player, waitSet, commandFd);
            finish(player, waitSet, commandFd, statusFd, 1);
        }
        reportChange(*player, lastReported, statusFd);
        if (pass == Pass::Stop) {
            awaitWorker(*player, waitSet, commandFd);
            finish(player, waitSet, commandFd, statusFd, 0);
        }
        waitSet.addRead(commandFd);
        waitSet.lowerTimeout(PassTimeoutUs);
    }
}

void updatePluginRegistry() {
    gst_init(nullptr, nullptr);
    // GStreamer goes on without a registry it could not write, and so would every player.
    const char* registry = getenv("GST_REGISTRY");
    const bool written = registry == nullptr || access(registry, F_OK) == 0;
    gst_deinit();
    exit(written ? 0 : ExitRegistryStale);
}
