// Runs a target once on each file of the folders and on each file named, in place of the fuzzer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz.hpp"
#include "tests/support/guarded_block.hpp"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(int count, char** names) {
    const std::vector<fs::path> given(names, names + count);
    std::vector<fs::path> files;
    for (const auto& name : given) {
        if (!fs::is_directory(name)) {
            files.push_back(name);
            continue;
        }
        for (const auto& entry : fs::directory_iterator(name)) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void run(const fs::path& path) {
    std::fprintf(stderr, "%s\n", path.c_str());  // known, should the run end here
    std::ifstream file(path, std::ios::binary);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    const test::Guarded<uint8_t> input{std::span{bytes}};
    LLVMFuzzerTestOneInput(input.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    const auto files = filesOf(argc - 1, argv + 1);
    for (const auto& file : files) run(file);
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
