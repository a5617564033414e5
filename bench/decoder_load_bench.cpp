// What a fresh process pays to load a software H.264 decoder library and make one decoder:
// libopenh264 against libavcodec, the two candidates for the stand-in "vpudec".
#include <benchmark/benchmark.h>

#include <chrono>
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// Loads the library and makes a decoder; false when either fails.
bool makeOpenH264() {
    void* library = dlopen("libopenh264.so.7", RTLD_NOW);
    if (!library)
        return false;
    using Create = long (*)(void**);
    using Destroy = void (*)(void*);
    auto create = reinterpret_cast<Create>(dlsym(library, "WelsCreateDecoder"));
    auto destroy = reinterpret_cast<Destroy>(dlsym(library, "WelsDestroyDecoder"));
    void* decoder = nullptr;
    if (!create || !destroy || create(&decoder) != 0 || !decoder)
        return false;
    destroy(decoder);
    return true;
}

bool makeAvcodec() {
    void* library = dlopen("libavcodec.so.59", RTLD_NOW);
    if (!library)
        return false;
    using Find = const void* (*)(const char*);
    using Alloc = void* (*)(const void*);
    using Open = int (*)(void*, const void*, void**);
    using Free = void (*)(void**);
    auto find = reinterpret_cast<Find>(dlsym(library, "avcodec_find_decoder_by_name"));
    auto alloc = reinterpret_cast<Alloc>(dlsym(library, "avcodec_alloc_context3"));
    auto open = reinterpret_cast<Open>(dlsym(library, "avcodec_open2"));
    auto release = reinterpret_cast<Free>(dlsym(library, "avcodec_free_context"));
    const void* codec = find ? find("h264") : nullptr;
    void* context = codec && alloc ? alloc(codec) : nullptr;
    if (!context || !open || !release || open(context, codec, nullptr) != 0)
        return false;
    release(&context);
    return true;
}

// Each iteration forks a child that loads the library cold and makes a decoder.
void loadInFreshProcess(benchmark::State& state, bool (*make)()) {
    for (auto _ : state) {
        auto started = Clock::now();
        pid_t child = fork();
        if (child == 0)
            _exit(make() ? 0 : 1);
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
            state.SkipWithError("the child could not load the decoder");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - started).count());
    }
}

} // namespace

BENCHMARK_CAPTURE(loadInFreshProcess, openh264, makeOpenH264)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);
BENCHMARK_CAPTURE(loadInFreshProcess, avcodec, makeAvcodec)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);

BENCHMARK_MAIN();
