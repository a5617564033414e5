// Start, command and stop latencies of a player process on a short clip, its CPU use while
// playing, and the cost of the steps that make them up (GStreamer start-up, discovery).
#include "bench/player_child.h"
#include "player/media_pipeline.h"

#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
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

// CPU time of a running process so far, from /proc (clock-tick resolution).
double procCpuMs(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t fields = text.rfind(')');
    if (fields == std::string::npos)
        return 0;
    std::istringstream rest(text.substr(fields + 2));
    std::string skip;
    for (int field = 3; field < 14; ++field)
        rest >> skip;
    double user = 0;
    double system = 0;
    rest >> user >> system;
    return (user + system) * 1000.0 / double(sysconf(_SC_CLK_TCK));
}

// One player from fork to reaping: "p", "g", the end of the clip, "q", "f".
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
        ok = ok && child.waitForStatus("p", 5000);
        auto paused = Clock::now();
        child.send('g');
        ok = ok && child.waitForStatus("g", 5000);
        auto playing = Clock::now();
        double cpuAtPlaying = procCpuMs(child.pid());
        ok = ok && child.waitForStatus("e", 5000);
        auto ended = Clock::now();
        double cpuAtEnd = procCpuMs(child.pid());
        child.send('q');
        ok = ok && child.waitForStatus("f", 5000);
        auto finished = Clock::now();
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
        state.counters["stopToFinishedMs"] = msBetween(ended, finished);
        state.counters["stopToReapedMs"] = msBetween(ended, reaped);
        double playbackS = msBetween(playing, ended) / 1000.0;
        state.counters["cpuMsPerPlaybackS"] = (cpuAtEnd - cpuAtPlaying) / playbackS;
        state.counters["lifeCpuMsPerPlaybackS"] = cpuMs(child.usage) / playbackS;
    }
}
BENCHMARK(playerLifecycle)
    ->Iterations(1)
    ->Repetitions(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// What a fresh player process spends before its pipeline changes state, one step at a time:
// 0 gst_init alone, 1 gst_init and gst_deinit, 2 gst_init and the pipeline's elements
// (plug-in loading), 3 gst_init and the first discovery of the clip, 4 gst_init and loading
// only the stand-ins' plug-in, decoder library included.
void childStartStep(benchmark::State& state) {
    int step = int(state.range(0));
    for (auto _ : state) {
        pid_t child = fork();
        if (child == 0) {
            gst_registry_fork_set_enabled(FALSE);
            gst_init(nullptr, nullptr);
            if (step == 1)
                gst_deinit();
            if (step == 2) {
                MediaPipeline media;
                if (media.create() == 1)
                    media.teardown();
            }
            if (step == 3) {
                std::string uri = "file://" + Clip;
                GstDiscoverer* discoverer = gst_discoverer_new(2 * GST_SECOND, nullptr);
                GstDiscovererInfo* info =
                    gst_discoverer_discover_uri(discoverer, uri.c_str(), nullptr);
                if (info)
                    gst_discoverer_info_unref(info);
                g_object_unref(discoverer);
            }
            if (step == 4) {
                GstPlugin* plugin = gst_plugin_load_by_name("boardsim");
                if (plugin)
                    gst_object_unref(plugin);
            }
            _exit(0);
        }
        waitpid(child, nullptr, 0);
    }
}
BENCHMARK(childStartStep)
    ->DenseRange(0, 4)
    ->Repetitions(20)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// Discovery of the clip again and again in one process: plug-ins already loaded.
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
