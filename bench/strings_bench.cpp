// String costs: copying and assigning a shared string, and UTF-8 encoding and decoding of
// 1 MiB of mixed text, with GLib's converters on the same input for comparison.
#include "sysman/utf8.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <memory>
#include <string>

namespace {

// ASCII, Latin, CJK and emoji, repeated to 1 MiB of UTF-8.
struct MixedText {
    std::wstring wide;
    std::string utf8;

    MixedText() {
        const wchar_t* piece = L"Playlist entry 42: caf\u00E9 na\u00EFve Stra\u00DFe "
                               L"\u65E5\u672C\u8A9E\u306E\u30C6\u30AD\u30B9\u30C8 "
                               L"\u4E2D\u6587 \U0001F3AC\U0001F600 end.\n";
        std::string pieceUtf8 = sysman::Utf8String(piece).c_str();
        while (utf8.size() < (1u << 20)) {
            wide += piece;
            utf8 += pieceUtf8;
        }
    }
};

const MixedText& mixedText() {
    static const MixedText text;
    return text;
}

void copySharedWString(benchmark::State& state) {
    sysman::WString source(L"/media/usb/videos/intro.mp4");
    for (auto _ : state) {
        sysman::WString copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
BENCHMARK(copySharedWString);

void assignSharedWString(benchmark::State& state) {
    sysman::WString a(L"/media/usb/videos/intro.mp4");
    sysman::WString b(L"/media/usb/videos/outro.mp4");
    sysman::WString target;
    for (auto _ : state) {
        target = a;
        target = b;
        benchmark::DoNotOptimize(target.c_str());
    }
}
BENCHMARK(assignSharedWString);

void copySharedUtf8String(benchmark::State& state) {
    sysman::Utf8String source("/media/usb/videos/intro.mp4");
    for (auto _ : state) {
        sysman::Utf8String copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
BENCHMARK(copySharedUtf8String);

void encodeUtf8IntoBuffer(benchmark::State& state) {
    const MixedText& text = mixedText();
    std::unique_ptr<char[]> out(new char[text.utf8.size() + 1]);
    for (auto _ : state)
        benchmark::DoNotOptimize(sysman::encodeUtf8(text.wide.c_str(), out.get()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.utf8.size()));
}
BENCHMARK(encodeUtf8IntoBuffer);

void utf8StringFromWide(benchmark::State& state) {
    const MixedText& text = mixedText();
    for (auto _ : state) {
        sysman::Utf8String encoded(text.wide.c_str());
        benchmark::DoNotOptimize(encoded.c_str());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.utf8.size()));
}
BENCHMARK(utf8StringFromWide);

void glibUcs4ToUtf8(benchmark::State& state) {
    const MixedText& text = mixedText();
    auto units = reinterpret_cast<const gunichar*>(text.wide.c_str());
    for (auto _ : state) {
        gchar* encoded =
            g_ucs4_to_utf8(units, static_cast<glong>(text.wide.size()), nullptr, nullptr, nullptr);
        benchmark::DoNotOptimize(encoded);
        g_free(encoded);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.utf8.size()));
}
BENCHMARK(glibUcs4ToUtf8);

void wstringFromUtf8(benchmark::State& state) {
    const MixedText& text = mixedText();
    for (auto _ : state) {
        sysman::WString decoded = sysman::WString::fromUtf8(text.utf8.c_str());
        benchmark::DoNotOptimize(decoded.c_str());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.utf8.size()));
}
BENCHMARK(wstringFromUtf8);

void glibUtf8ToUcs4(benchmark::State& state) {
    const MixedText& text = mixedText();
    for (auto _ : state) {
        gunichar* decoded = g_utf8_to_ucs4(text.utf8.c_str(), static_cast<glong>(text.utf8.size()),
                                           nullptr, nullptr, nullptr);
        benchmark::DoNotOptimize(decoded);
        g_free(decoded);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.utf8.size()));
}
BENCHMARK(glibUtf8ToUcs4);

} // namespace

BENCHMARK_MAIN();
