#include "client/tree/local_folder.hpp"

#include <dirent.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "client/outcome.hpp"
#include "platform/files/beneath.hpp"
#include "platform/files/random_name.hpp"
#include "platform/files/rename.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const vxhost::Descriptor& folder, const fs::path& shown) {
    const int number = fcntl(folder.number(), F_DUPFD_CLOEXEC, 0);  // closed with the listing
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fdopendir(number), &closedir);
    if (!listing) {
        const int error = errno;
        close(number);
        vxhost::throwSystemFailure(error, "Cannot read " + shown.string());
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(listing.get());
        if (entry == nullptr) break;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    if (errno != 0) vxhost::throwSystemFailure(errno, "Cannot read " + shown.string());
    std::ranges::sort(names);
    return names;
}

// Two spellings of one name, of which the file system may take the one for the other.
constexpr const char* composed = "-\xC3\xA9";     // a small e with an acute accent
constexpr const char* decomposed = "-e\xCC\x81";  // and the two characters it is made of
constexpr const char* capital = "-\xC3\x89";

}  // namespace

std::string_view whyUnfit(Unfit unfit) {
    switch (unfit) {
        case Unfit::none:
            return {};
        case Unfit::noUtf8:
            return "Its name is no UTF-8.";
        case Unfit::link:
            return "It is a symbolic link, which --follow follows.";
        case Unfit::brokenLink:
            return "It is a symbolic link that leads nowhere.";
        case Unfit::loop:
            return "It is a symbolic link to a folder that it is in.";
        case Unfit::special:
            return "It is neither a file nor a folder.";
        case Unfit::unfinished:
            return "Its name is one that unfinished files have here.";
        case Unfit::unreadable:
            return "It cannot be looked at.";
    }
    return {};
}

Result<LocalFolder> LocalFolder::open(const fs::path& path) {
    return caught([&]() -> Result<LocalFolder> {
        return LocalFolder(path, vxhost::Descriptor(path, O_RDONLY | O_DIRECTORY));
    });
}

Result<LocalFolder> LocalFolder::create(const fs::path& path) {
    return caught([&]() -> Result<LocalFolder> {
        if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
            vxhost::throwSystemFailure(errno, "Cannot make " + path.string());
        }
        return open(path);
    });
}

fs::path LocalFolder::shown(std::string_view path) const {
    return path.empty() ? path_ : path_ / path;
}

vxhost::Descriptor LocalFolder::openFolder(std::string_view path) const {
    return vxhost::openBeneath(directory_, path, O_PATH | O_DIRECTORY);
}

vxhost::Descriptor LocalFolder::openToRead(std::string_view path, int flags, Links links) const {
    if (links == Links::left || path.empty()) {
        return vxhost::openBeneath(directory_, path, O_RDONLY | flags);
    }
    const std::string plain(path);
    return {openat(directory_.number(), plain.c_str(), O_RDONLY | O_CLOEXEC | flags),
            "Cannot read " + shown(path).string()};
}

Result<std::optional<LocalEntry>> LocalFolder::look(std::string_view path) const {
    return caught([&]() -> Result<std::optional<LocalEntry>> {
        if (path.empty()) return std::optional(lookAt(directory_));
        const auto [folder, name] = vxhost::splitBeneath(path);
        try {
            return lookAt(openFolder(folder), name);
        } catch (const vxhost::Failure& failure) {
            if (failure.status() == vx::VX_PATH_NOT_FOUND) return std::optional<LocalEntry>();
            throw;
        }
    });
}

Result<void> LocalFolder::makeFolder(std::string_view path) const {
    return caught([&]() -> Result<void> {
        const auto [parent, name] = vxhost::splitBeneath(path);
        const vxhost::Descriptor folder = openFolder(parent);
        if (mkdirat(folder.number(), name.c_str(), 0777) == 0) return {};
        const int error = errno;
        const auto found = lookAt(folder, name);
        if (error == EEXIST && found && found->kind == LocalKind::folder) return {};
        vxhost::throwSystemFailure(error, "Cannot make the folder " + shown(path).string());
    });
}

Result<NewFile> LocalFolder::makeFile(std::string_view path) const {
    return caught([&]() -> Result<NewFile> {
        auto [folder, name] = vxhost::splitBeneath(path);
        return NewFile::make(openFolder(folder), std::move(name), shown(path));
    });
}

// A folder from the root to the path.
bool LocalFolder::isAround(std::string_view path, const LocalEntry& folder) const {
    const auto isIt = [&](const std::string& parent) {
        struct stat found {};
        return fstatat(directory_.number(), parent.c_str(), &found, 0) == 0 &&
               found.st_ino == folder.inode && found.st_dev == folder.device;
    };
    if (isIt(".")) return true;
    for (size_t end = 0; !path.empty() && end != path.npos; ++end) {
        end = path.find('/', end);
        if (isIt(std::string(path.substr(0, end)))) return true;
        if (end == path.npos) break;
    }
    return false;
}

ScannedEntry LocalFolder::examine(const vxhost::Descriptor& folder, std::string_view path,
                                  std::string name, Links links) const {
    ScannedEntry scanned{std::move(name)};
    if (scanned.name.starts_with(vxhost::hiddenPrefix)) {
        scanned.unfit = Unfit::unfinished;
        return scanned;
    }
    struct stat found {};
    if (fstatat(folder.number(), scanned.name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
        scanned.unfit = Unfit::unreadable;
        return scanned;
    }
    const bool isLink = S_ISLNK(found.st_mode);
    if (isLink && links == Links::followed &&
        fstatat(folder.number(), scanned.name.c_str(), &found, 0) != 0) {
        scanned.unfit = Unfit::brokenLink;
    }
    scanned.entry = localEntryOf(found);
    if (!isUtf8(scanned.name)) scanned.unfit = Unfit::noUtf8;
    if (scanned.unfit != Unfit::none) return scanned;
    if (scanned.entry.kind == LocalKind::link) scanned.unfit = Unfit::link;
    if (scanned.entry.kind == LocalKind::special) scanned.unfit = Unfit::special;
    const bool isLinkedFolder = isLink && scanned.entry.kind == LocalKind::folder;
    if (isLinkedFolder && isAround(path, scanned.entry)) scanned.unfit = Unfit::loop;
    return scanned;
}

Result<std::vector<ScannedEntry>> LocalFolder::scan(std::string_view path, Links links) const {
    return caught([&]() -> Result<std::vector<ScannedEntry>> {
        const vxhost::Descriptor folder = openToRead(path, O_DIRECTORY, links);
        std::vector<ScannedEntry> entries;
        for (std::string& name : namesIn(folder, shown(path))) {
            entries.push_back(examine(folder, path, std::move(name), links));
        }
        return entries;
    });
}

Result<vxhost::Descriptor> LocalFolder::openForReading(std::string_view path, Links links) const {
    return caught([&]() -> Result<vxhost::Descriptor> {
        // A pipe that took the file's place would be waited for.
        vxhost::Descriptor file = openToRead(path, O_NONBLOCK, links);
        if (lookAt(file).kind != LocalKind::file) {
            return localError(Kind::local, shown(path).string() + " is no regular file.");
        }
        return file;
    });
}

Result<void> LocalFolder::removeFile(std::string_view path, const LocalEntry& seen,
                                     const Removal& removal) const {
    return caught([&]() -> Result<void> {
        const auto [folder, name] = vxhost::splitBeneath(path);
        return removeSeen(openFolder(folder), name, shown(path), seen, removal);
    });
}

Result<void> LocalFolder::takeFile(std::string_view path, const OldFileTaker& take) const {
    return caught([&]() -> Result<void> {
        const auto [folder, name] = vxhost::splitBeneath(path);
        return take(openFolder(folder), name);
    });
}

Result<void> LocalFolder::move(std::string_view from, std::string_view to) const {
    return caught([&]() -> Result<void> {
        const auto [oldParent, oldName] = vxhost::splitBeneath(from);
        const auto [newParent, newName] = vxhost::splitBeneath(to);
        if (vxhost::renameToFree(openFolder(oldParent).number(), oldName,
                                 openFolder(newParent).number(), newName)) {
            return {};
        }
        return localError(Kind::changedHere,
                          shown(to).string() + " was made here meanwhile, and was left alone.");
    });
}

Result<void> LocalFolder::storeAll() const {
    return caught([&]() -> Result<void> {
        if (syncfs(directory_.number()) == 0) return {};
        vxhost::throwSystemFailure(errno, "Cannot write " + path_.string());
    });
}

Result<void> LocalFolder::removeFolder(std::string_view path) const {
    return caught([&]() -> Result<void> {
        const auto [parent, name] = vxhost::splitBeneath(path);
        const vxhost::Descriptor folder = openFolder(parent);
        if (unlinkat(folder.number(), name.c_str(), AT_REMOVEDIR) == 0) return {};
        vxhost::throwSystemFailure(errno, "Cannot remove " + shown(path).string());
    });
}

Result<Folding> LocalFolder::folding() const {
    if (folding_) return *folding_;
    return caught([&]() -> Result<Folding> {
        const std::string begin = vxhost::hiddenPrefix + vxhost::randomName();
        const std::string name = begin + composed;
        const vxhost::Descriptor probe(openat(directory_.number(), name.c_str(),
                                              O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600),
                                       "Cannot write into " + path_.string());
        const auto isThere = [&](const char* end) {
            struct stat found {};
            return fstatat(directory_.number(), (begin + end).c_str(), &found, 0) == 0;
        };
        folding_ = Folding{isThere(capital), isThere(decomposed)};
        unlinkat(directory_.number(), name.c_str(), 0);
        return *folding_;
    });
}

}  // namespace quillon
