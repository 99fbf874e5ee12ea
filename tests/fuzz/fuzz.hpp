// What the fuzz targets share. A target is a program of one source file: it takes any input as
// what may come from a server, a file or a person, and requires what must hold for all of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// Called once for each input; returns 0.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

inline std::string_view text(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Cuts the first line off, without its line feed.
inline std::string_view takeLine(std::string_view& rest) {
    const auto line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    return line;
}

// Aborts, so that the fuzzer keeps the input, unless the promise is kept.
inline void require(bool kept, const char* promise, int line = __builtin_LINE()) {
    if (kept) return;
    std::fprintf(stderr, "line %d: not kept: %s\n", line, promise);
    std::abort();
}

}  // namespace fuzz
