// The running service, measured from outside: wake-ups and memory while idle, and the
// round trip of an Identify request over the real socket.
#include "tests/support/control_client.h"
#include "tests/support/netns.h"
#include "tests/support/service_process.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
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
    client.connect();
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

} // namespace

BENCHMARK(idleService)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(identifyRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
