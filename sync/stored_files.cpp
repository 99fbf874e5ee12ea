#include "sync/stored_files.hpp"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/random_name.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr const char* hexDigits = "0123456789abcdef";
constexpr size_t hashDigits = 64, shardDigits = 2;
constexpr std::chrono::hours longestFilling{24};

bool isHex(const std::string& name, size_t digits) {
    return name.size() == digits && name.find_first_not_of(hexDigits) == name.npos;
}

std::optional<LocalEntry> lookAtPath(const fs::path& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) return std::nullopt;
    return localEntryOf(found);
}

template <class Take>
void forEachFile(const fs::path& directory, Take&& take) {
    std::error_code none;
    for (fs::directory_iterator entry(directory, none), end; !none && entry != end;
         entry.increment(none)) {
        const auto found = lookAtPath(entry->path());
        if (found && found->kind == LocalKind::file) take(entry->path(), *found);
    }
}

template <class Take>
void forEachShard(const fs::path& directory, Take&& take) {
    std::error_code none;
    for (fs::directory_iterator entry(directory, none), end; !none && entry != end;
         entry.increment(none)) {
        if (isHex(entry->path().filename().string(), shardDigits)) take(entry->path());
    }
}

}  // namespace

bool isContentHash(const std::string& hash) {
    return isHex(hash, hashDigits);
}

fs::path placeOf(const fs::path& directory, const std::string& hash) {
    return directory / hash.substr(0, shardDigits) / hash;
}

fs::path makePlace(const fs::path& directory, const std::string& hash) {
    if (!isContentHash(hash)) {
        throw vxhost::Failure(vxhost::FSBOX_IO, "The hash of a content is not known");
    }
    fs::path place = placeOf(directory, hash);
    const bool isNew = access(place.parent_path().c_str(), F_OK) != 0;
    vxhost::makePrivateDirectories(place.parent_path());
    if (isNew) vxhost::storeDirectory(directory);
    return place;
}

fs::path lateIn(const fs::path& directory) {
    return directory / "late";
}

bool renewStored(const fs::path& file) {
    return utimensat(AT_FDCWD, file.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) == 0;
}

std::vector<StoredFile> listStored(const fs::path& directory) {
    std::vector<StoredFile> files;
    forEachShard(directory, [&](const fs::path& shard) {
        forEachFile(shard, [&](const fs::path& path, const LocalEntry& found) {
            if (!isContentHash(path.filename().string())) return;
            files.push_back({path, found.size, found.modifiedNs});
        });
    });
    return files;
}

// Their times of change are the person's; that of their names is when they came here.
std::vector<StoredFile> listLate(const fs::path& directory) {
    std::vector<StoredFile> files;
    forEachFile(directory, [&](const fs::path& path, const LocalEntry& found) {
        files.push_back({path, found.size, found.changedNs});
    });
    return files;
}

uint64_t bytesOf(const std::vector<StoredFile>& files) {
    uint64_t bytes = 0;
    for (const StoredFile& file : files) bytes += file.size;
    return bytes;
}

std::vector<StoredFile> chooseDropped(std::vector<StoredFile> files,
                                      const std::set<std::string>& kept, uint64_t most,
                                      int64_t notBeforeNs) {
    std::ranges::sort(files, {}, &StoredFile::takenNs);
    uint64_t left = bytesOf(files);
    std::vector<StoredFile> dropped;
    for (StoredFile& file : files) {
        if (file.takenNs >= notBeforeNs && left <= most) break;
        if (kept.contains(file.name())) continue;
        left -= file.size;
        dropped.push_back(std::move(file));
    }
    return dropped;
}

void dropStored(const std::vector<StoredFile>& files) {
    for (const StoredFile& file : files) {
        const auto now = lookAtPath(file.path);
        const bool isSame =
            now && (now->modifiedNs == file.takenNs || now->changedNs == file.takenNs);
        if (isSame) unlink(file.path.c_str());
    }
}

void dropLeftovers(const fs::path& directory) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const int64_t oldest = std::chrono::nanoseconds(now - longestFilling).count();
    const auto dropOld = [&](const fs::path& path, const LocalEntry& found) {
        const bool isOurs = path.filename().string().starts_with(vxhost::hiddenPrefix);
        if (isOurs && found.modifiedNs < oldest) unlink(path.c_str());
    };
    forEachFile(directory, dropOld);
    forEachShard(directory, [&](const fs::path& shard) { forEachFile(shard, dropOld); });
}

void readFromStart(const vxhost::Descriptor& file, const std::string& shown) {
    if (lseek(file.number(), 0, SEEK_SET) != 0) {
        vxhost::throwSystemFailure(errno, "Cannot read " + shown);
    }
}

bool shareContent(const vxhost::Descriptor& from, const vxhost::Descriptor& to) {
    return ioctl(to.number(), FICLONE, from.number()) == 0;
}

void writeTo(const vxhost::Descriptor& file, std::string_view content) {
    if (const int error = vxhost::writeWhole(file, content)) {
        vxhost::throwSystemFailure(error, "Cannot write into the store");
    }
}

// Returns the hash of what was copied.
std::string copyHashed(const vxhost::Descriptor& from, const std::string& shown,
                       const vxhost::Descriptor& to) {
    if (shareContent(from, to)) return hashFile(to, shown);
    readFromStart(from, shown);
    vxhost::ContentHash hash;
    vxhost::readPieces(from, shown, [&](std::string_view piece) {
        writeTo(to, piece);
        hash.add(piece);
        return true;
    });
    return hash.hex();
}

}  // namespace quillon::sync
