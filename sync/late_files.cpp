#include "sync/late_files.hpp"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/files/beneath.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/writers.hpp"
#include "sync/stored_files.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr int openToLook = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;

void setModified(const vxhost::Descriptor& file, int64_t modifiedNs) {
    const auto since = std::chrono::nanoseconds(modifiedNs);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const timespec times[2] = {{0, UTIME_OMIT}, {seconds.count(), (since - seconds).count()}};
    futimens(file.number(), times);
}

bool renameToLate(const vxhost::Descriptor& folder, const std::string& hidden,
                  const fs::path& place) {
    const int number = folder.number();
    int result = renameat2(number, hidden.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
        result = renameat(number, hidden.c_str(), AT_FDCWD, place.c_str());
    }
    if (result == 0) return true;
    if (errno == EXDEV) return false;
    vxhost::throwSystemFailure(errno, "Cannot move a file into the store");
}

// The time of its last change is the file's: what was written since it was decided about shows.
Result<void> copyToLate(const vxhost::Descriptor& folder, const std::string& hidden,
                        const fs::path& place, const std::string& shown) {
    const vxhost::Descriptor file = vxhost::openBeneath(folder, hidden, openToLook);
    const LocalEntry before = lookAt(file);
    vxhost::CompleteFile copy(place);
    vxhost::copyContent(file, shown, copy.file(), place);
    if (!isSameVersion(before, lookAt(file))) return changedMeanwhile(shown);
    setModified(copy.file(), before.modifiedNs);
    copy.becomeDestination();
    if (unlinkat(folder.number(), hidden.c_str(), 0) == 0) return {};
    vxhost::throwSystemFailure(errno, "Cannot remove " + shown);
}

// 0 where the kernel does not tell. One file system may be mounted at two places.
uint64_t mountOf(const vxhost::Descriptor& file) {
    struct statx found {};
    statx(file.number(), "", AT_EMPTY_PATH, STATX_MNT_ID, &found);
    return found.stx_mnt_id;
}

// Who else can reach it keeps it as it is: by another name, or as its owner.
bool isOthersToo(const vxhost::Descriptor& file) {
    struct stat found {};
    return fstat(file.number(), &found) != 0 || found.st_nlink > 1 || found.st_uid != geteuid();
}

// Whether the late file became the content of that hash.
bool settle(const vxhost::Descriptor& file, const LocalEntry& entry, const fs::path& late,
            const fs::path& place, const std::string& hash) {
    if (!renewStored(place)) {
        if (!isOthersToo(file)) {
            fchmod(file.number(), 0600);
            vxhost::storeData(file, late);
            setModified(file, entry.changedNs);
            return rename(late.c_str(), place.c_str()) == 0;
        }
        vxhost::CompleteFile copy(place);
        if (copyHashed(file, late, copy.file()) != hash) return false;
        copy.becomeDestination();
    }
    return unlink(late.c_str()) == 0;
}

}  // namespace

Error changedMeanwhile(const std::string& shown) {
    return localError(Kind::changedHere,
                      shown + " was changed here meanwhile, and was left alone.");
}

bool isRenamedInto(const vxhost::Descriptor& file, const fs::path& directory) {
    const vxhost::Descriptor to(directory, O_PATH | O_DIRECTORY);
    return lookAt(file).device == lookAt(to).device && mountOf(file) == mountOf(to);
}

Result<void> moveToLate(const vxhost::Descriptor& folder, const std::string& hidden,
                        const fs::path& place, const std::string& shown) {
    if (renameToLate(folder, hidden, place)) return {};
    return copyToLate(folder, hidden, place, shown);
}

std::optional<std::string> settleLate(const fs::path& directory, const LateFile& late) {
    const fs::path path = lateIn(directory) / late.name;
    const vxhost::Descriptor file(path, openToLook);
    const LocalEntry entry = lookAt(file);
    if (vxhost::isOpenForWriting(file)) return std::nullopt;
    std::string hash = hashFile(file, path);  // times can be set back
    if (!isUntouched(entry, lookAt(file))) return std::nullopt;
    const bool isSettled = settle(file, entry, path, makePlace(directory, hash), hash);
    return isSettled ? std::optional(std::move(hash)) : std::nullopt;
}

}  // namespace quillon::sync
