// Counts of bytes as people write them on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quillon::cli {

// "4096", or with a unit that is a power of 1024: "500K", "1.5M", "2G", "1T", in either case.
// Nothing for any other text.
std::optional<uint64_t> parseByteCount(std::string_view text);

}  // namespace quillon::cli
