// Caches of the person's own that processes left when they were killed, in $XDG_CACHE_HOME/quillon
// and beside the destinations of fetches.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

#include "client/result.hpp"

namespace quillon {

// Behind the name of a member's local copy: the folder with the copy of it that a program changes.
inline constexpr std::string_view workSuffix = ".work";

// A folder in use: that of a WorkCopy, also by the programs that inherit the descriptor, which may
// outlive this process.
class FolderHold {
public:
    static Result<FolderHold> take(const std::filesystem::path& folder);
    FolderHold(FolderHold&&) noexcept;
    FolderHold& operator=(FolderHold&&) = delete;
    ~FolderHold();
    int descriptor() const;

private:
    struct Open;
    explicit FolderHold(std::unique_ptr<Open> open);
    std::unique_ptr<Open> open_;
};

// Removes the caches that nobody holds and in which nothing can be anybody's work: what was fetched
// and copied for a program that did not change it. The files in the others, which may be.
std::vector<std::filesystem::path> removeLeftCaches();

// The same of what fetches left beside their destinations in a directory, which is nobody's work.
void removeLeftFetches(const std::filesystem::path& place);

}  // namespace quillon
