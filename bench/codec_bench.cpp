// Codec speed: decode and encode of the 8-byte Identify request and of a maximal
// 4096-byte message with 16 fields.
#include "protocol/message.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

// A received datagram plus the header words that in-place decoding zeroes, so each
// iteration can put them back without copying the whole message.
struct Datagram {
    alignas(4) uint8_t buffer[MaxMessageSize + DecodeSlack];
    int32_t size = 0;
    std::vector<std::pair<uint32_t, uint32_t>> headers; // offset, original word

    explicit Datagram(const Message& message) {
        size = encodeMessage(buffer, message);
        for (uint32_t pos = 8, i = 0; i < message.fieldCount; ++i) {
            uint32_t word;
            memcpy(&word, buffer + pos, 4);
            headers.emplace_back(pos, word);
            pos = (pos + 4 + message.fields[i].length + 3) & ~3u;
        }
    }
    void restore() {
        for (const auto& [pos, word] : headers)
            memcpy(buffer + pos, &word, 4);
    }
};

Message identify() {
    Message m{};
    m.type = 16;
    m.code = 1;
    return m;
}

Message maximal() {
    static uint8_t data[250];
    Message m{};
    m.type = 48;
    m.code = 1;
    m.fieldCount = 16;
    for (int i = 0; i < 16; ++i)
        m.fields[i] = {static_cast<uint16_t>(i < 15 ? 250 : 244), data};
    return m;
}

void decode(benchmark::State& state, const Message& source) {
    Datagram datagram(source);
    Message message;
    for (auto _ : state) {
        datagram.restore();
        benchmark::DoNotOptimize(decodeMessage(datagram.buffer, datagram.size, message));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * datagram.size);
}

void restoreOnly(benchmark::State& state, const Message& source) {
    Datagram datagram(source);
    for (auto _ : state) {
        datagram.restore();
        benchmark::ClobberMemory();
    }
}

void encode(benchmark::State& state, const Message& source) {
    alignas(4) static uint8_t out[MaxMessageSize];
    for (auto _ : state) {
        benchmark::DoNotOptimize(encodeMessage(out, source));
        benchmark::ClobberMemory();
    }
}

} // namespace

BENCHMARK_CAPTURE(decode, identify_8_bytes, identify());
BENCHMARK_CAPTURE(decode, maximal_4096_bytes_16_fields, maximal());
BENCHMARK_CAPTURE(restoreOnly, maximal_headers_baseline, maximal());
BENCHMARK_CAPTURE(encode, identify_8_bytes, identify());
BENCHMARK_CAPTURE(encode, maximal_4096_bytes_16_fields, maximal());

BENCHMARK_MAIN();
