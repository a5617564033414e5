// The running service, measured from outside: wake-ups and memory while idle, the round trip
// of an Identify request over the real socket, the switch gap, and what hostile input costs.
#include "tests/support/service.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <csignal>
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
    client.send(testsupport::request(49, {testsupport::Bytes{1}}));
    client.receive(1000);
    client.send(testsupport::loadPlaylistRequest(dir + "/list.txt", false));
    bool ok = !client.receive(1000).empty();
    if (!ok)
        state.SkipWithError("the service did not take the playlist");
    return ok;
}

// From each clip's end of stream to the next clip playing, split at the new player's first
// state change (stop, fork, start-up and discovery before it; preroll and play after it).
// Argument 0 has every player check the plug-in registry in gst_init, as players did before
// the service brought it up to date at its start; 1 is the service as it is.
void switchGap(benchmark::State& state) {
    if (state.range(0) == 0)
        setenv("GST_REGISTRY_UPDATE", "yes", 1);
    else
        unsetenv("GST_REGISTRY_UPDATE");
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

// Processor time of the service and of its children it has reaped, in ms.
double cpuWithChildrenMs(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string field;
    long ticks = 0;
    for (int i = 1; i <= 17 && stat >> field; ++i)
        ticks += i >= 14 ? std::stol(field) : 0;
    return static_cast<double>(ticks) * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Stop signal to exit, in ms; negative when the service did not exit 0.
double stopLatencyMs(testsupport::ServiceProcess& service) {
    auto start = Clock::now();
    return service.stop(SIGTERM) == 0 ? msBetween(start, Clock::now()) : -1;
}

// The supervisor's own wake-ups and memory while one long clip plays; then how fast a stop
// signal ends it with that player stopped dead (SIGSTOP).
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
    for (pid_t player : service.children())
        kill(player, SIGSTOP);
    state.counters["stop_with_hung_player_ms"] = stopLatencyMs(service);
}

// Three clients hold every slot and a fourth waits: the service's processor use over 5 s,
// then how fast a stop signal ends it.
void clientsWaiting(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    testsupport::ControlClient clients[4];
    for (auto& client : clients)
        client.open();
    for (auto _ : state) {
        double before = cpuWithChildrenMs(service.pid());
        std::this_thread::sleep_for(std::chrono::seconds(5));
        state.counters["cpu_percent"] = (cpuWithChildrenMs(service.pid()) - before) / 50.0;
    }
    state.counters["stop_ms"] = stopLatencyMs(service);
}

// Playlists that are no regular text: each load's reply time and the growth of the service's
// peak memory, then a stop signal right after the last load.
void hostilePlaylists(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    const std::string dir = "/tmp/service-bench-" + std::to_string(getpid());
    (void)mkdir(dir.c_str(), 0700);
    const std::string fifo = dir + "/fifo", big = dir + "/big";
    (void)mkfifo(fifo.c_str(), 0600);
    std::ofstream(big) << "";
    (void)truncate(big.c_str(), 768l << 20); // 768 MiB of NUL bytes, no line feed
    testsupport::ControlClient client;
    client.open();
    double slowest = 0;
    long peakBefore = statusField(service.pid(), "VmHWM");
    for (auto _ : state) {
        for (const std::string& path :
             {fifo, big, std::string("/dev/zero"), std::string("/dev/urandom")}) {
            auto start = Clock::now();
            client.send(testsupport::loadPlaylistRequest(path, false));
            if (client.receive(10000).empty()) {
                state.SkipWithError("no reply to a load");
                return;
            }
            slowest = std::max(slowest, msBetween(start, Clock::now()));
        }
    }
    state.counters["slowest_load_ms"] = slowest;
    state.counters["peak_rss_growth_kB"] =
        static_cast<double>(statusField(service.pid(), "VmHWM") - peakBefore);
    state.counters["stop_ms"] = stopLatencyMs(service);
    (void)unlink(fifo.c_str());
    (void)unlink(big.c_str());
    (void)rmdir(dir.c_str());
}

// A playlist whose every entry fails, with Play in force: processor use of the service and
// its players over the first minute, in which the wait between rounds grows to 30 s.
void allBadPlaylist(benchmark::State& state) {
    testsupport::ServiceProcess service;
    if (!startService(state, service))
        return;
    testsupport::ControlClient client;
    const std::string dir = "/tmp/service-bench-" + std::to_string(getpid());
    (void)mkdir(dir.c_str(), 0700);
    std::ofstream(dir + "/bad.txt") << "missing.mp4\nbad.txt\n";
    client.open();
    client.send(testsupport::request(49, {testsupport::Bytes{1}}));
    client.receive(1000);
    for (auto _ : state) {
        double before = cpuWithChildrenMs(service.pid());
        client.send(testsupport::loadPlaylistRequest(dir + "/bad.txt", false));
        client.receive(1000);
        std::this_thread::sleep_for(std::chrono::seconds(60));
        const std::string log = service.text();
        int rounds = 0; // each round fails to open missing.mp4 once
        for (size_t at = 0; (at = log.find("Couldn't open the video", at)) != std::string::npos;
             ++at)
            ++rounds;
        state.counters["rounds"] = rounds;
        state.counters["cpu_percent"] = (cpuWithChildrenMs(service.pid()) - before) / 600.0;
    }
    (void)unlink((dir + "/bad.txt").c_str());
    (void)rmdir(dir.c_str());
}

} // namespace

BENCHMARK(switchGap)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(supervisorWhilePlaying)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(idleService)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(identifyRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(echoRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK(clientsWaiting)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(hostilePlaylists)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(allBadPlaylist)->Iterations(1)->Unit(benchmark::kSecond);

BENCHMARK_MAIN();
