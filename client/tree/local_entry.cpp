#include "client/tree/local_entry.hpp"

namespace quillon {
namespace {

LocalKind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return LocalKind::file;
    if (S_ISDIR(mode)) return LocalKind::folder;
    return S_ISLNK(mode) ? LocalKind::link : LocalKind::special;
}

int64_t nanosecondsOf(const timespec& time) {
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

LocalEntry localEntryOf(const struct stat& found) {
    return {kindOf(found.st_mode),
            static_cast<uint64_t>(found.st_size),
            nanosecondsOf(found.st_mtim),
            nanosecondsOf(found.st_ctim),
            found.st_ino,
            found.st_dev,
            found.st_mode & 0777};
}

std::optional<LocalEntry> lookAt(const vxhost::Descriptor& directory, const std::string& name) {
    struct stat found {};
    if (fstatat(directory.number(), name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0) {
        return localEntryOf(found);
    }
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    vxhost::throwSystemFailure(errno, name);
}

LocalEntry lookAt(const vxhost::Descriptor& file) {
    struct stat found {};
    if (fstat(file.number(), &found) != 0) vxhost::throwSystemFailure(errno, "An open file");
    return localEntryOf(found);
}

bool isSameVersion(const LocalEntry& seen, const LocalEntry& now) {
    return seen.kind == now.kind && seen.inode == now.inode && seen.device == now.device &&
           seen.size == now.size && seen.modifiedNs == now.modifiedNs;
}

bool isUntouched(const LocalEntry& seen, const LocalEntry& now) {
    return isSameVersion(seen, now) && seen.changedNs == now.changedNs;
}

}  // namespace quillon
