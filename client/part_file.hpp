// What an interrupted fetch leaves beside its destination, so that the next one goes on behind it:
// a hidden file of mode 0600, and a note of the member and its entity tag,
// $XDG_STATE_HOME/quillon/parts/*.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "client/result.hpp"

namespace quillon {

// Smaller ones are not worth a file.
inline constexpr uint64_t leastPart = uint64_t{8} << 20;  // bytes

class PartFile {
public:
    // Of the member's content on its way to the destination. url: without credentials.
    PartFile(std::string url, const std::filesystem::path& destination);

    struct Kept {
        uint64_t size;    // in bytes
        std::string tag;  // of the member, a strong one with its quotes
    };
    // What is there and as it was left, not older than a week. What is older goes, of this and of
    // all other destinations.
    std::optional<Kept> find() const;
    // Takes the bytes that came from a file beside it.
    Result<void> keep(const std::filesystem::path& came, const std::string& tag) const;
    void remove() const;

    const std::filesystem::path& path() const { return path_; }

private:
    std::string url_;
    std::filesystem::path path_, note_;
};

}  // namespace quillon
