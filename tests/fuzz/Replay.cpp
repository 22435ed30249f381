// Runs a fuzz target over every file of the folders that are named on the command line, without
// libFuzzer: in every build, with any compiler, for any processor.
//   replay_TARGET CORPUS [FINDINGS...]
// The first folder has to hold inputs, the others may be missing.

#include "tests/fuzz/Target.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

using Path = std::filesystem::path;

/** In the order of their names, so that every run is the same. */
std::vector<Path> inputsIn(Path const& folder) {
    std::vector<Path> inputs;
    std::error_code missing;
    for (auto const& entry : std::filesystem::directory_iterator(folder, missing)) {
        if (entry.is_regular_file()) {
            inputs.push_back(entry.path());
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool replay(Path const& input) {
    std::ifstream file(input, std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::fprintf(stderr, "%s: can't be read\n", input.c_str());
        return false;
    }
    // Named before it runs: an input that ends the process is the last one named.
    std::printf("%s\n", input.c_str());
    std::fflush(stdout);
    std::vector<std::uint8_t> const data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Path> const folders(argv + 1, argv + argc);
    if (folders.empty() || inputsIn(folders.front()).empty()) {
        std::fprintf(stderr, "no inputs to replay\n");
        return 1;
    }
    bool allRead = true;
    std::size_t count = 0;
    for (Path const& folder : folders) {
        for (Path const& input : inputsIn(folder)) {
            allRead = replay(input) && allRead;
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return allRead ? 0 : 1;
}
