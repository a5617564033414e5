// Start, command and stop latencies of a player process on a short clip, its CPU use while
// playing, and the cost of the steps that make them up (GStreamer start-up, discovery).
#include "tests/player/player_child.h"

#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <chrono>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

const std::string Clip = VIDEOD_BINARY_DIR "/media/short.mp4";

double msBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

double cpuMs(const struct rusage& usage) {
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}

// One player from fork to reaping: "p", "g", the end of the clip, "q".
void playerLifecycle(benchmark::State& state) {
    for (auto _ : state) {
        PlayerChild child;
        auto forked = Clock::now();
        if (!child.start(Clip)) {
            state.SkipWithError("fork failed");
            return;
        }
        bool ok = child.waitForLog("Pipeline state changed from NULL to READY", 5000);
        auto ready = Clock::now();
        ok = ok && child.waitForStatus('p', 5000);
        auto paused = Clock::now();
        child.send('g');
        ok = ok && child.waitForStatus('g', 5000);
        auto playing = Clock::now();
        ok = ok && child.waitForStatus('e', 5000);
        auto ended = Clock::now();
        child.send('q');
        int status = child.waitExit(5000);
        auto reaped = Clock::now();
        if (!ok || status != 0) {
            state.SkipWithError("player did not play the clip");
            return;
        }
        state.SetIterationTime(msBetween(forked, reaped) / 1000.0);
        state.counters["forkToReadyMs"] = msBetween(forked, ready);
        state.counters["readyToPausedMs"] = msBetween(ready, paused);
        state.counters["forkToPausedMs"] = msBetween(forked, paused);
        state.counters["playToPlayingMs"] = msBetween(paused, playing);
        state.counters["stopToReapedMs"] = msBetween(ended, reaped);
        state.counters["cpuMsPerPlaybackS"] =
            cpuMs(child.usage) / (msBetween(playing, ended) / 1000.0);
    }
}
BENCHMARK(playerLifecycle)
    ->Iterations(1)
    ->Repetitions(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// A forked child that only starts GStreamer (and with deinit, also shuts it down) and exits.
void gstStartInChild(benchmark::State& state) {
    bool deinit = state.range(0) != 0;
    for (auto _ : state) {
        pid_t child = fork();
        if (child == 0) {
            gst_registry_fork_set_enabled(FALSE);
            gst_init(nullptr, nullptr);
            if (deinit)
                gst_deinit();
            _exit(0);
        }
        waitpid(child, nullptr, 0);
    }
}
BENCHMARK(gstStartInChild)
    ->Arg(0)
    ->Arg(1)
    ->Repetitions(20)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The player's discovery of the clip, with the discoverer made afresh as in each player.
void discovery(benchmark::State& state) {
    gst_registry_fork_set_enabled(FALSE);
    gst_init(nullptr, nullptr);
    std::string uri = "file://" + Clip;
    for (auto _ : state) {
        GstDiscoverer* discoverer = gst_discoverer_new(2 * GST_SECOND, nullptr);
        GstDiscovererInfo* info = gst_discoverer_discover_uri(discoverer, uri.c_str(), nullptr);
        if (info)
            gst_discoverer_info_unref(info);
        g_object_unref(discoverer);
    }
}
BENCHMARK(discovery)->Repetitions(20)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
