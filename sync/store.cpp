#include "sync/store.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/outcome.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/base/logger.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/random_name.hpp"
#include "platform/files/writers.hpp"
#include "sync/late_files.hpp"
#include "sync/stored_files.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

// Of all that a store may hold: so much more is dropped at once, for to list it takes its time.
constexpr uint64_t spareShare = 16;
constexpr int openStored = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;

fs::path commonIn(const fs::path& directory) {
    return directory / "common";
}

fs::path newIn(const fs::path& directory) {
    return directory / "new";
}

bool isThere(const fs::path& path) {
    return access(path.c_str(), F_OK) == 0;
}

// Since 1970, in nanoseconds.
int64_t longAgo(std::chrono::hours longest, Time theirs) {
    const auto now = std::clamp(theirs, Time(), timeNow()).time_since_epoch();
    return std::chrono::nanoseconds(now - longest).count();
}

std::vector<StoredFile> listKept(const fs::path& directory) {
    std::vector<StoredFile> files = listStored(directory);
    for (StoredFile& late : listLate(lateIn(directory))) files.push_back(std::move(late));
    return files;
}

// Nothing when it cannot be read. What is not what its name says goes: nobody waited for the disk.
std::optional<vxhost::Descriptor> openCommon(const fs::path& directory, const std::string& hash) {
    if (!isContentHash(hash)) return std::nullopt;
    const fs::path place = placeOf(commonIn(directory), hash);
    try {
        vxhost::Descriptor file(place, openStored);
        if (hashFile(file, place) == hash) return file;
        unlink(place.c_str());
    } catch (const std::exception&) {
    }
    return std::nullopt;
}

std::optional<std::string> settleLogged(const fs::path& directory, const LateFile& late) {
    if (!isThere(lateIn(directory) / late.name)) return std::nullopt;
    auto hash =
        caught([&]() -> Result<std::optional<std::string>> { return settleLate(directory, late); });
    if (hash) return *std::move(hash);
    vxhost::logLine(vxhost::findLogger(U"App.WebDAV.quillon"), vx::LOG_FAILURE,
                    "Not looked at again: " + hash.error().sentences.front());
    return std::nullopt;
}

}  // namespace

Result<Store> Store::open(const fs::path& directory, const StoreLimits& limits) {
    return caught([&]() -> Result<Store> {
        for (const fs::path& each :
             {directory, lateIn(directory), commonIn(directory), newIn(directory)}) {
            vxhost::makePrivateDirectories(each);
        }
        return Store(directory, limits);
    });
}

Result<void> Store::reserve(uint64_t bytes) {
    const auto fits = [&](uint64_t there) {
        return there <= limits_.mostBytes && bytes <= limits_.mostBytes - there;
    };
    // What is on its way counts as taken: many are, before the first of them is here.
    promisedBytes_ += bytes;
    if (promisedBytes_ <= limits_.mostBytes && fits(takenBytes_)) {
        if (!total_) total_ = bytesOf(listKept(directory_));
        if (fits(*total_)) return {};
        const uint64_t room = limits_.mostBytes - bytes;
        const uint64_t spare = std::min(room, limits_.mostBytes / spareShare);
        dropStored(chooseDropped(listKept(directory_), taken_, room - spare, 0));
        total_ = bytesOf(listKept(directory_));
        if (fits(*total_)) return {};
    }
    return localError(Kind::local,
                      fmt::format("The store {} holds {} bytes at most: {} more have no room "
                                  "beside what this run put there. quillon sync --keep-size SIZE "
                                  "makes it larger, --no-keep keeps nothing of what it replaces.",
                                  directory_.string(), limits_.mostBytes, bytes));
}

std::optional<fs::path> Store::findKept(const std::string& hash) const {
    if (!isContentHash(hash)) return std::nullopt;
    fs::path place = placeOf(directory_, hash);
    if (isThere(place)) return place;
    const auto late = late_.find(hash);
    if (late == late_.end()) return std::nullopt;
    place = lateIn(directory_) / late->second;
    return isThere(place) ? std::optional(std::move(place)) : std::nullopt;
}

bool Store::has(const std::string& hash) const {
    return findKept(hash).has_value();
}

bool Store::hasLate(const std::string& name) const {
    return isThere(lateIn(directory_) / name);
}

Result<bool> Store::keep(const std::string& hash) {
    if (keepAgain(hash)) return true;
    // Somebody may yet write into a late file: only a copy of it can be relied on.
    if (const auto late = late_.find(hash); late != late_.end()) {
        const fs::path path = lateIn(directory_) / late->second;
        const Result<void> copied = caught([&]() -> Result<void> {
            return copy(vxhost::Descriptor(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK), path, hash);
        });
        if (copied) return true;  // else the content is fetched
    }
    const auto common = openCommon(directory_, hash);
    if (!common) return false;
    Result<void> copied = copy(*common, hash, hash);
    if (!copied) return std::move(copied).error();
    return true;
}

std::optional<fs::path> Store::find(const std::string& hash) const {
    if (auto kept = findKept(hash)) return kept;
    if (openCommon(directory_, hash)) return placeOf(commonIn(directory_), hash);
    return std::nullopt;
}

Result<void> Store::checkWriters(const LocalFolder& folder, const std::string& path) const {
    return caught([&]() -> Result<void> {
        const auto file = folder.openForReading(path, Links::left);
        if (!file || !vxhost::isOpenForWriting(*file)) return {};
        if (isRenamedInto(*file, lateIn(directory_))) return {};
        return localError(Kind::changedHere,
                          "A program has it open for writing, and the store is on another file "
                          "system; the next run takes it once it is closed.");
    });
}

Result<LateFile> Store::take(const vxhost::Descriptor& folder, const std::string& hidden,
                             const std::string& path, const HereState& version) {
    return caught([&]() -> Result<LateFile> {
        const auto found = lookAt(folder, hidden);
        if (!found || found->kind != LocalKind::file) return changedMeanwhile(path);
        Result<void> moved = moveToLate(folder, hidden, lateIn(directory_) / hidden, path);
        if (!moved) return std::move(moved).error();
        noteTaken(hidden, found->size, Known::no);
        late_[version.hash] = hidden;
        return LateFile{hidden, path, version.hash, version.size, version.modifiedNs};
    });
}

Result<void> Store::copy(const vxhost::Descriptor& file, const std::string& shown,
                         const std::string& hash) {
    return caught([&]() -> Result<void> {
        const fs::path place = makePlace(directory_, hash);
        readFromStart(file, shown);
        if (isThere(place) && hashFile(file, shown) != hash) {
            return changedMeanwhile(shown);
        }
        if (keepAgain(hash)) return {};
        vxhost::CompleteFile copy(place);
        if (copyHashed(file, shown, copy.file()) != hash) return changedMeanwhile(shown);
        copy.becomeDestination();
        noteTaken(hash, lookAt(copy.file()).size, Known::no);
        return {};
    });
}

fs::path Store::newName() const {
    return newIn(directory_) / (vxhost::hiddenPrefix + vxhost::randomName());
}

Result<void> Store::adopt(const fs::path& file, const std::string& hash) {
    return caught([&]() -> Result<void> {
        const fs::path place = makePlace(directory_, hash);
        const vxhost::Descriptor opened(file, openStored);
        vxhost::storeData(opened, file);
        const bool isOurs = fchmod(opened.number(), 0600) == 0 && renewStored(file) &&
                            rename(file.c_str(), place.c_str()) == 0;
        if (!isOurs) vxhost::throwSystemFailure(errno, "Cannot keep " + file.string());
        vxhost::storeDirectory(place.parent_path());
        noteTaken(hash, lookAt(opened).size, Known::no);
        return {};
    });
}

void Store::keepCommon(const vxhost::Descriptor& file, uint64_t size, const std::string& hash) {
    if (size > limits_.mostCommonText || size > limits_.mostCommonBytes - commonBytes_) return;
    try {
        const fs::path place = makePlace(commonIn(directory_), hash);
        if (openCommon(directory_, hash) && renewStored(place)) return;
        readFromStart(file, hash);
        const std::string text = vxhost::readWhole(file, hash, size);
        vxhost::ContentHash found;
        found.add(text);
        if (text.find('\0') != text.npos || found.hex() != hash) return;
        vxhost::CompleteFile copy(place);
        if (!shareContent(file, copy.file())) writeTo(copy.file(), text);
        copy.becomeDestinationUnstored();
        commonBytes_ += size;
    } catch (const std::exception&) {
    }
}

CheckedLate Store::checkLate(const std::vector<LateFile>& late) {
    CheckedLate checked;
    std::set<fs::path> directories;
    for (const LateFile& each : late) {
        const auto hash = settleLogged(directory_, each);
        if (hash) {
            directories.insert(placeOf(directory_, *hash).parent_path());
            if (*hash != each.hash) {
                checked.changed.push_back(each);
                checked.changed.back().hash = *hash;
            }
        }
        // One that is gone was dropped, or settled by a run that was killed.
        if (!isThere(lateIn(directory_) / each.name)) checked.settled.push_back(each.name);
    }
    for (const fs::path& directory : directories) vxhost::storeDirectory(directory);
    return checked;
}

void Store::prune(std::optional<Time> theirs) {
    const int64_t oldest =
        theirs ? longAgo(limits_.longest, *theirs) : std::numeric_limits<int64_t>::min();
    dropStored(chooseDropped(listKept(directory_), taken_, limits_.mostBytes, oldest));
    const fs::path common = commonIn(directory_);
    dropStored(chooseDropped(listStored(common), {}, limits_.mostCommonBytes, oldest));
    for (const fs::path& each : {directory_, common, newIn(directory_)}) dropLeftovers(each);
    total_.reset();
}

void Store::noteTaken(const std::string& name, uint64_t size, Known known) {
    if (total_ && known == Known::no) *total_ += size;
    if (taken_.insert(name).second) takenBytes_ += size;
}

// Where the content is there already.
bool Store::keepAgain(const std::string& hash) {
    if (!isContentHash(hash)) return false;
    const fs::path place = placeOf(directory_, hash);
    struct stat found {};
    if (!renewStored(place) || stat(place.c_str(), &found) != 0) return false;
    noteTaken(hash, static_cast<uint64_t>(found.st_size), Known::yes);
    return true;
}

}  // namespace quillon::sync
