#include "client/tree/new_file.hpp"

#include <fmt/format.h>
#include <sys/xattr.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/outcome.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/place_file.hpp"
#include "platform/files/random_name.hpp"
#include "platform/files/rename.hpp"

namespace quillon {
namespace {

std::string writing(const std::string& shown) {
    return "Cannot write " + shown;
}

Error changedError(const std::string& shown) {
    return localError(Kind::changedHere,
                      shown + " was changed, made or removed here meanwhile, and was left alone.");
}

// Nothing is known of what somebody did between two steps of ours but that it is in this file now.
Error strandedError(const std::string& shown, const std::string& hidden) {
    return localError(Kind::changedHere,
                      fmt::format("{} was changed here again and again; a version of it that is "
                                  "not ours is in the file {} beside it.",
                                  shown, hidden));
}

// What a person or a program noted with the old file, and who may read it. Notes of ours are of its
// content, and a file system without attributes is no failure.
void takeOverAttributes(const vxhost::Descriptor& from, const vxhost::Descriptor& to) {
    char names[4096];
    const ssize_t length = flistxattr(from.number(), names, sizeof names);
    for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(std::strlen(names + at)) + 1) {
        const std::string_view name = names + at;
        const bool isTaken = name.starts_with("user.") || name == "system.posix_acl_access";
        if (!isTaken || name.starts_with("user.quillon.")) continue;
        char value[4096];
        const ssize_t size = fgetxattr(from.number(), names + at, value, sizeof value);
        if (size >= 0) fsetxattr(to.number(), names + at, value, static_cast<size_t>(size), 0);
    }
}

// The version that was seen, which is hidden now.
Result<void> takeAway(const vxhost::Descriptor& folder, const std::string& hidden,
                      const std::string& shown, const OldFileTaker& takeOld) {
    if (takeOld) return takeOld(folder, hidden);
    if (unlinkat(folder.number(), hidden.c_str(), 0) == 0) return {};
    vxhost::throwSystemFailure(errno, "Cannot remove " + shown);
}

// A file without a name goes by itself when this process ends, however it ends; it gets its name by
// what /proc shows of it. -1 where that is not to be had.
int openNameless(const vxhost::Descriptor& folder) {
    static const bool canBeNamed = access("/proc/self/fd", X_OK) == 0;
    if (!canBeNamed) return -1;
    return openat(folder.number(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
}

// What stands under both names changes place at once. False where the file system does not do it.
bool exchangeNames(const vxhost::Descriptor& folder, const std::string& a, const std::string& b,
                   const std::string& shown) {
    const int number = folder.number();
    if (renameat2(number, a.c_str(), number, b.c_str(), RENAME_EXCHANGE) == 0) return true;
    if (errno == EINVAL || errno == ENOSYS) return false;
    vxhost::throwSystemFailure(errno, writing(shown));
}

}  // namespace

std::string newHiddenName() {
    return vxhost::hiddenPrefix + vxhost::randomName();
}

Result<NewFile> NewFile::make(vxhost::Descriptor folder, std::string name, std::string shown) {
    return caught([&]() -> Result<NewFile> {
        return NewFile(std::move(folder), std::move(name), std::move(shown));
    });
}

NewFile::NewFile(vxhost::Descriptor folder, std::string name, std::string shown)
    : folder_(std::move(folder)), name_(std::move(name)), shown_(std::move(shown)), file_(open()) {}

vxhost::Descriptor NewFile::open() {
    const int nameless = openNameless(folder_);
    if (nameless >= 0) return {nameless, writing(shown_)};
    hidden_ = newHiddenName();
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    return {openat(folder_.number(), hidden_.c_str(), flags, 0600), writing(shown_)};
}

NewFile::NewFile(NewFile&& other) noexcept
    : hash_(other.hash_),
      size_(other.size_),
      folder_(std::move(other.folder_)),
      name_(std::move(other.name_)),
      shown_(std::move(other.shown_)),
      hidden_(std::exchange(other.hidden_, {})),
      planned_(std::move(other.planned_)),
      file_(std::move(other.file_)) {}

NewFile::~NewFile() {
    if (!hidden_.empty()) unlinkat(folder_.number(), hidden_.c_str(), 0);
}

Result<void> NewFile::write(std::string_view piece) {
    return caught([&]() -> Result<void> {
        if (const int error = vxhost::writeWhole(file_, piece)) {
            vxhost::throwSystemFailure(error, writing(shown_));
        }
        if (hash_) hash_->add(piece);
        size_ += piece.size();
        return {};
    });
}

Result<void> NewFile::restart() {
    return caught([&]() -> Result<void> {
        const int number = file_.number();
        if (ftruncate(number, 0) != 0 || lseek(number, 0, SEEK_SET) != 0) {
            vxhost::throwSystemFailure(errno, writing(shown_));
        }
        hash_.emplace();
        size_ = 0;
        return {};
    });
}

Result<std::string> NewFile::readHash() {
    return caught([&]() -> Result<std::string> {
        if (lseek(file_.number(), 0, SEEK_SET) != 0) {
            vxhost::throwSystemFailure(errno, "Cannot read " + shown_);
        }
        return hashFile(file_, shown_);
    });
}

Result<LocalEntry> NewFile::place(std::optional<Time> modified,
                                  const std::optional<LocalEntry>& seen, Durability durability,
                                  const OldFileTaker& takeOld) {
    return caught([&]() -> Result<LocalEntry> {
        if (seen && seen->kind != LocalKind::file) {
            return localError(Kind::local, shown_ + " is no regular file, and was left alone.");
        }
        // Bytes from elsewhere shall not run with somebody's rights.
        if (seen) {
            setMode(seen->mode & 0777);
        } else if (!hidden_.empty()) {
            setMode(vxhost::modeOfNewFiles());
        }
        if (modified) {
            const timespec times[2] = {{0, UTIME_OMIT}, timespecOf(*modified)};
            futimens(file_.number(), times);  // a file system without times is no failure
        }
        if (durability == Durability::content) vxhost::storeData(file_, shown_);
        if (seen) {
            if (Result<void> replaced = replace(*seen, takeOld); !replaced) {
                return std::move(replaced).error();
            }
        } else if (!takeName(name_)) {
            return changedError(shown_);
        }
        return lookAt(file_);
    });
}

const std::string& NewFile::hiddenName() {
    if (!hidden_.empty()) return hidden_;
    if (planned_.empty()) planned_ = newHiddenName();
    return planned_;
}

Result<std::string> NewFile::hide() {
    return caught([&]() -> Result<std::string> {
        setMode(0600);
        if (!takeHiddenName()) return changedError(shown_);
        return hidden_;
    });
}

void NewFile::setMode(mode_t mode) {
    if (fchmod(file_.number(), mode) == 0) return;
    vxhost::throwSystemFailure(errno, writing(shown_));
}

bool NewFile::takeHiddenName() {
    if (!hidden_.empty()) return true;
    const std::string hidden = hiddenName();
    if (!takeName(hidden)) return false;
    hidden_ = hidden;
    return true;
}

bool NewFile::takeName(const std::string& name) {
    if (!hidden_.empty()) {
        if (!vxhost::renameToFree(folder_.number(), hidden_, name)) return false;
        hidden_.clear();
        return true;
    }
    const std::string self = fmt::format("/proc/self/fd/{}", file_.number());
    if (linkat(AT_FDCWD, self.c_str(), folder_.number(), name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        return true;
    }
    if (errno == EEXIST) return false;
    vxhost::throwSystemFailure(errno, writing(shown_));
}

Result<void> NewFile::replace(const LocalEntry& seen, const OldFileTaker& takeOld) {
    const auto now = lookAt(folder_, name_);
    if (!now || !isUntouched(seen, *now)) return changedError(shown_);
    const int old =
        openat(folder_.number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (old >= 0) takeOverAttributes(vxhost::Descriptor(old, shown_), file_);
    if (!takeHiddenName()) return changedError(shown_);
    if (!exchangeNames(folder_, hidden_, name_, shown_)) {
        if (takeOld) return replaceByRemoval(seen, takeOld);
        if (renameat(folder_.number(), hidden_.c_str(), folder_.number(), name_.c_str()) != 0) {
            vxhost::throwSystemFailure(errno, writing(shown_));
        }
        hidden_.clear();
        return {};
    }
    // From here on what is hidden is the person's, until it has been looked at.
    const std::string hidden = std::exchange(hidden_, {});
    const auto cameOut = lookAt(folder_, hidden);
    if (cameOut && isSameVersion(seen, *cameOut)) {
        return takeAway(folder_, hidden, shown_, takeOld);
    }
    (void)exchangeNames(folder_, hidden, name_, shown_);
    const auto wentIn = lookAt(folder_, hidden);
    if (!wentIn || wentIn->inode != lookAt(file_).inode) return strandedError(shown_, hidden);
    hidden_ = hidden;
    return changedError(shown_);
}

// Where names cannot be exchanged nothing has the name for a moment.
Result<void> NewFile::replaceByRemoval(const LocalEntry& seen, const OldFileTaker& takeOld) {
    Result<void> removed = removeSeen(folder_, name_, shown_, seen, {hidden_ + "-old", takeOld});
    if (removed && !takeName(name_)) return changedError(shown_);
    return removed;
}

Result<void> removeSeen(const vxhost::Descriptor& folder, const std::string& name,
                        const std::string& shown, const LocalEntry& seen, const Removal& removal) {
    return caught([&]() -> Result<void> {
        const auto now = lookAt(folder, name);
        if (!now || !isUntouched(seen, *now)) return changedError(shown);
        if (seen.kind == LocalKind::folder) {
            return localError(Kind::local, shown + " is a folder, and was left alone.");
        }
        const std::string hidden = removal.hidden.empty() ? newHiddenName() : removal.hidden;
        if (!vxhost::renameToFree(folder.number(), name, hidden, "Cannot remove " + shown)) {
            return changedError(shown);
        }
        const auto taken = lookAt(folder, hidden);
        if (taken && isSameVersion(seen, *taken)) {
            return takeAway(folder, hidden, shown, removal.takeOld);
        }
        if (!vxhost::renameToFree(folder.number(), hidden, name)) {
            return strandedError(shown, hidden);
        }
        return changedError(shown);
    });
}

}  // namespace quillon
