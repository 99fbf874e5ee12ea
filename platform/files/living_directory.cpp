#include "platform/files/living_directory.hpp"

#include <sys/file.h>
#include <sys/stat.h>

#include <ctime>

namespace vxhost {
namespace {

// A directory that was made just now may not be held yet.
constexpr std::time_t youth = 60;  // seconds

constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

}  // namespace

Descriptor holdDirectory(const std::filesystem::path& directory) {
    Descriptor held(directory, openFlags);
    flock(held.number(), LOCK_SH | LOCK_NB);
    return held;
}

std::optional<Descriptor> takeLeftDirectory(const std::filesystem::path& directory) {
    const int number = open(directory.c_str(), openFlags);
    if (number < 0) return std::nullopt;
    Descriptor taken(number, directory);
    struct stat entry {};
    const bool own = fstat(number, &entry) == 0 && entry.st_uid == geteuid();
    const bool old = own && std::time(nullptr) - entry.st_mtime > youth;
    if (!old || flock(number, LOCK_EX | LOCK_NB) != 0) return std::nullopt;
    return taken;
}

}  // namespace vxhost
