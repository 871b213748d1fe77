// The main of a fuzz target's plain build: runs every file named on the command line, or found in
// a directory named there (sorted by name), through LLVMFuzzerTestOneInput once. A harness reports
// a broken invariant by aborting, so the exit status says whether the whole corpus passed. Used by
// ctest in every build, so that each corpus file, the reproducers of earlier findings included,
// stays a regression test. An input that runs longer than 60 s (a step that stalls, such as a
// deadlock) ends the program by SIGALRM; the line above names the input.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i]))
            inputs.emplace_back(argv[i]);
        else
            inputs.insert(inputs.end(), fs::directory_iterator(argv[i]), {});
    }
    std::sort(inputs.begin(), inputs.end());
    for (const fs::path& path : inputs) {
        std::ifstream file(path, std::ios::binary);
        if (!file) return std::fprintf(stderr, "cannot read %s\n", path.c_str()), 1;
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
        std::fprintf(stderr, "replaying %s (%zu bytes)\n", path.c_str(), bytes.size());
        alarm(60);  // a stalling input ends the program ("Alarm clock") after its line
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        alarm(0);
    }
    std::fprintf(stderr, "replayed %zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;  // no inputs: a wrong path
}
