// Stop grace benchmark: how long after its last stop command a player that ignores the
// command is killed and reaped, in a loop that nothing else wakes.
#include "supervisor/player_link.h"
#include "sysman/wait_set.h"
#include "tests/supervisor/scripted_player.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

static void hungPlayerKill(benchmark::State& state) {
    useScriptedPlayers();
    std::vector<double> samplesMs;
    for (auto _ : state) {
        PlayerProcess player;
        if (!launchPlayer(player, "/silent.mp4", DisplaySettings{})) {
            state.SkipWithError("no player process");
            break;
        }
        sysman::WaitSet waitSet{};
        waitSet.init();
        auto start = std::chrono::steady_clock::now();
        sendStop(player);
        for (;;) {
            pollPlayer(player, waitSet);
            if (player.pid == 0)
                break;
            waitSet.wait();
        }
        std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(taken.count());
        samplesMs.push_back(taken.count() * 1000.0);
    }
    if (samplesMs.empty())
        return;
    std::sort(samplesMs.begin(), samplesMs.end());
    state.counters["min_ms"] = samplesMs.front();
    state.counters["median_ms"] = samplesMs[samplesMs.size() / 2];
    state.counters["max_ms"] = samplesMs.back();
    state.counters["in_2000_2010"] = static_cast<double>(std::count_if(
        samplesMs.begin(), samplesMs.end(), [](double ms) { return ms > 2000.0 && ms <= 2010.0; }));
    state.counters["trials"] = static_cast<double>(samplesMs.size());
}
BENCHMARK(hungPlayerKill)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
