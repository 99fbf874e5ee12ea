// Runs a target once on each file of a folder, in place of the fuzzer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz.hpp"
#include "tests/support/guarded_block.hpp"

int main(int, char** argv) {
    const std::filesystem::directory_iterator folder(argv[1]);
    std::vector<std::filesystem::path> files(begin(folder), end(folder));
    std::sort(files.begin(), files.end());
    for (const auto& path : files) {
        std::fprintf(stderr, "%s\n", path.c_str());  // known, should the run end here
        std::ifstream file(path, std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
        const test::Guarded<uint8_t> input{std::span{bytes}};
        LLVMFuzzerTestOneInput(input.data(), bytes.size());
    }
    return files.empty() ? 1 : 0;
}
