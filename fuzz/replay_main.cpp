// Runs a fuzz target over every file of the corpus directories given on the command line,
// so builds without libFuzzer still check the saved inputs.
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        DIR* dir = opendir(argv[i]);
        if (!dir) {
            fprintf(stderr, "cannot open corpus %s\n", argv[i]);
            return 1;
        }
        while (struct dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            std::ifstream file(std::string(argv[i]) + "/" + entry->d_name, std::ios::binary);
            std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)),
                                      std::istreambuf_iterator<char>());
            (void)LLVMFuzzerTestOneInput(data.data(), data.size());
            ++replayed;
        }
        closedir(dir);
    }
    printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
