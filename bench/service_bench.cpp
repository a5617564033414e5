// The running service, measured from outside: wake-ups and memory while idle, and the
// round trip of an Identify request over the real socket.
#include "tests/support/service.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using testsupport::Bytes;

// A numeric field of /proc/PID/status, e.g. "voluntary_ctxt_switches" or "VmRSS" (kB).
long statusField(pid_t pid, const std::string& name) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string key;
    while (status >> key) {
        if (key == name + ":") {
            long value = 0;
            status >> value;
            return value;
        }
        status.ignore(1 << 16, '\n');
    }
    return -1;
}

bool startService(benchmark::State& state, testsupport::ServiceProcess& service) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why)) {
        state.SkipWithError(why.c_str());
        return false;
    }
    if (!service.start() || !service.waitUntilListening()) {
        state.SkipWithError("service did not start");
        return false;
    }
    return true;
}

void idleService(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (auto _ : state) {
        long before = statusField(service.pid(), "voluntary_ctxt_switches") +
                      statusField(service.pid(), "nonvoluntary_ctxt_switches");
        std::this_thread::sleep_for(std::chrono::seconds(10));
        long after = statusField(service.pid(), "voluntary_ctxt_switches") +
                     statusField(service.pid(), "nonvoluntary_ctxt_switches");
        state.counters["wakeups_in_10s"] = static_cast<double>(after - before);
    }
    state.counters["rss_kB"] = static_cast<double>(statusField(service.pid(), "VmRSS"));
}

void identifyRoundTrip(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    testsupport::ControlClient client;
    client.open();
    const Bytes identify = {0xB1, 0xFB, 0x08, 0x00, 0x10, 0x01, 0x00, 0x00};
    std::vector<double> micros;
    for (auto _ : state) {
        micros.clear();
        for (int i = 0; i < 10000; ++i) {
            auto start = std::chrono::steady_clock::now();
            client.send(identify);
            Bytes reply = client.receive(1000);
            auto end = std::chrono::steady_clock::now();
            if (reply.size() != 68) {
                state.SkipWithError("no Identify reply");
                return;
            }
            micros.push_back(std::chrono::duration<double, std::micro>(end - start).count());
        }
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
    state.counters["max_us"] = micros.back();
}

// The machine's floor for the round trip: a bare SEQPACKET echo between two processes.
void echoRoundTrip(benchmark::State& state) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) {
        state.SkipWithError("no socket pair");
        return;
    }
    pid_t echo = fork();
    if (echo == 0) {
        close(pair[0]); // end of file once the parent closes its end
        uint8_t buffer[4096];
        ssize_t n;
        while ((n = recv(pair[1], buffer, sizeof buffer, 0)) > 0)
            (void)send(pair[1], buffer, static_cast<size_t>(n), MSG_EOR);
        _exit(0);
    }
    close(pair[1]);
    const uint8_t identify[] = {0xB1, 0xFB, 0x08, 0x00, 0x10, 0x01, 0x00, 0x00};
    uint8_t reply[4096];
    std::vector<double> micros;
    for (auto _ : state) {
        for (int i = 0; i < 10000; ++i) {
            auto start = std::chrono::steady_clock::now();
            (void)send(pair[0], identify, sizeof identify, MSG_EOR);
            (void)recv(pair[0], reply, sizeof reply, 0);
            micros.push_back(
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                    .count());
        }
    }
    close(pair[0]);
    waitpid(echo, nullptr, 0);
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}

using Clock = std::chrono::steady_clock;

double msBetween(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double, std::milli>(b - a).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// Plays a one-entry playlist of a clip, with Play in force. Entries are relative to the
// playlist, so the clip is linked in beside it.
bool playForever(benchmark::State& state, testsupport::ControlClient& client,
                 const std::string& clip) {
    const std::string dir = "/tmp/service-bench-" + std::to_string(getpid());
    (void)mkdir(dir.c_str(), 0700);
    (void)unlink((dir + "/clip.mp4").c_str());
    (void)symlink(clip.c_str(), (dir + "/clip.mp4").c_str());
    std::ofstream(dir + "/list.txt") << "clip.mp4\n";
    client.open();
    client.send(testsupport::playModeRequest(1));
    client.receive(1000);
    client.send(testsupport::loadPlaylistRequest(dir + "/list.txt", false));
    bool ok = !client.receive(1000).empty();
    if (!ok)
        state.SkipWithError("the service did not take the playlist");
    return ok;
}

// From each clip's end of stream to the next clip playing, split at the new player's first
// state change (stop, fork, start-up and discovery before it; preroll and play after it).
void switchGap(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    testsupport::ControlClient client;
    if (!playForever(state, client, std::string(VIDEOD_BINARY_DIR) + "/media/short.mp4"))
        return;
    std::vector<double> total, toFirstState, firstStateToPlaying;
    for (auto _ : state) {
        size_t offset = service.waitFor("End of Stream \n", 10000);
        for (int i = 0; i < 20 && offset != std::string::npos; ++i) {
            auto ended = Clock::now();
            size_t ready = service.waitFor("from NULL to READY:", 10000, offset);
            auto firstState = Clock::now();
            size_t playing = service.waitFor("from PAUSED to PLAYING:", 10000, ready);
            auto nowPlaying = Clock::now();
            if (ready == std::string::npos || playing == std::string::npos) {
                state.SkipWithError("the next clip did not start");
                return;
            }
            total.push_back(msBetween(ended, nowPlaying));
            toFirstState.push_back(msBetween(ended, firstState));
            firstStateToPlaying.push_back(msBetween(firstState, nowPlaying));
            offset = service.waitFor("End of Stream \n", 10000, playing);
        }
    }
    state.counters["switches"] = static_cast<double>(total.size());
    state.counters["gap_median_ms"] = median(total);
    state.counters["gap_max_ms"] =
        total.empty() ? 0 : *std::max_element(total.begin(), total.end());
    state.counters["to_new_player_ready_ms"] = median(toFirstState);
    state.counters["ready_to_playing_ms"] = median(firstStateToPlaying);
}

// The supervisor's own wake-ups and memory while one long clip plays.
void supervisorWhilePlaying(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    testsupport::ControlClient client;
    if (!playForever(state, client, std::string(VIDEOD_BINARY_DIR) + "/demo/bars.mp4"))
        return;
    for (auto _ : state) {
        size_t playing = service.waitFor("from PAUSED to PLAYING:", 10000);
        if (playing == std::string::npos) {
            state.SkipWithError("the clip did not start");
            return;
        }
        long before = statusField(service.pid(), "voluntary_ctxt_switches") +
                      statusField(service.pid(), "nonvoluntary_ctxt_switches");
        std::this_thread::sleep_for(std::chrono::seconds(3));
        long after = statusField(service.pid(), "voluntary_ctxt_switches") +
                     statusField(service.pid(), "nonvoluntary_ctxt_switches");
        if (service.text().find("End of Stream", playing) != std::string::npos) {
            state.SkipWithError("the clip ended inside the measurement");
            return;
        }
        state.counters["wakeups_per_s"] = static_cast<double>(after - before) / 3.0;
    }
    state.counters["rss_kB"] = static_cast<double>(statusField(service.pid(), "VmRSS"));
}

} // namespace

BENCHMARK(switchGap)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(supervisorWhilePlaying)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(idleService)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(identifyRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(echoRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
