// Runs a fuzz target over every file of the corpus directory given on the command line, so
// builds without libFuzzer still check the saved inputs.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    int replayed = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argc == 2 ? argv[1] : "", error)) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::vector<uint8_t> data{std::istreambuf_iterator<char>(file), {}};
        (void)LLVMFuzzerTestOneInput(data.data(), data.size());
        ++replayed;
    }
    printf("%d inputs replayed\n", replayed);
    return replayed > 0 && !error ? 0 : 1;
}
