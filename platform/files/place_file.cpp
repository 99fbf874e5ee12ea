#include "platform/files/place_file.hpp"

#include <sys/stat.h>

#include <cstdio>
#include <system_error>

#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

constexpr int mostLinks = 40;  // as many as the system follows

[[noreturn]] void refusePlace(const fs::path& place, const std::string& what) {
    throw Failure(FSBOX_DENIED, place.string() + " is " + what +
                                    ", so nothing is written there. Choose another name or place");
}

[[noreturn]] void refuseLink(const fs::path& link, std::errc why) {
    refusePlace(link, "a symbolic link that cannot be followed (" +
                          std::make_error_code(why).message() + ")");
}

// The last link of the chain, or the path itself.
fs::path followOwnLinks(fs::path path) {
    struct stat entry {};
    for (int links = 0; lstat(path.c_str(), &entry) == 0 && S_ISLNK(entry.st_mode); ++links) {
        if (entry.st_uid != geteuid()) refusePlace(path, "a symbolic link of somebody else's");
        if (links == mostLinks) refuseLink(path, std::errc::too_many_symbolic_link_levels);
        path = path.parent_path() / fs::read_symlink(path);
    }
    return path;
}

// A link is replaced itself: of those that lead somewhere the target is asked about.
std::optional<struct stat> replacedFile(const fs::path& target, Naming naming) {
    struct stat entry {};
    if (lstat(target.c_str(), &entry) != 0 || S_ISLNK(entry.st_mode)) return std::nullopt;
    if (naming == Naming::byOthers && !S_ISREG(entry.st_mode)) {
        refusePlace(target, "no regular file");
    }
    return entry;
}

void writeInto(const fs::path& target, const fs::path& source) {
    const Descriptor from = openForReading(source);
    Descriptor to(open(target.c_str(), O_WRONLY | O_CLOEXEC), "Cannot write " + target.string());
    copyContent(from, source, to, target);
    if (const int error = to.shut()) throwSystemFailure(error, "Cannot write " + target.string());
}

struct Attributes {
    mode_t mode;
    std::optional<timespec> modified;
};

void setAttributes(const Descriptor& file, const Attributes& attributes, const fs::path& shown) {
    if (fchmod(file.number(), attributes.mode) != 0) {
        throwSystemFailure(errno, "Cannot change " + shown.string());
    }
    if (!attributes.modified) return;
    const timespec times[2] = {{0, UTIME_OMIT}, *attributes.modified};
    futimens(file.number(), times);  // a file system without times is no failure
}

void copyToPlace(const Descriptor& from, const fs::path& source, const fs::path& target,
                 const Attributes& attributes) {
    CompleteFile copy(target);
    copyContent(from, source, copy.file(), target);
    setAttributes(copy.file(), attributes, target);
    copy.replaceDestination();
    unlink(source.c_str());
}

}  // namespace

// The mask can be read by changing it alone, which two threads must not do at a time.
mode_t modeOfNewFiles() {
    static const mode_t mask = [] {
        const mode_t before = umask(0);
        umask(before);
        return before;
    }();
    return 0666 & ~mask;
}

fs::path resolvePlace(const fs::path& destination, Naming naming) {
    const fs::path last =
        naming == Naming::byOthers ? followOwnLinks(destination) : fs::path(destination);
    std::error_code problem;
    const fs::path resolved = fs::canonical(last, problem);
    // It may lead to something all the same, and is the person's.
    for (const std::errc why :
         {std::errc::too_many_symbolic_link_levels, std::errc::permission_denied}) {
        std::error_code none;
        if (problem == why && fs::is_symlink(destination, none)) refuseLink(destination, why);
    }
    const fs::path& target = problem ? destination : resolved;  // a link to nothing is replaced
    (void)replacedFile(target, naming);
    return target;
}

void placeFile(const fs::path& source, const fs::path& destination, Naming naming,
               const std::optional<timespec>& modified) {
    const fs::path target = resolvePlace(destination, naming);
    const std::optional<struct stat> old = replacedFile(target, naming);
    if (old && !S_ISREG(old->st_mode)) return writeInto(target, source);
    // Bytes from elsewhere shall not run with somebody's rights: of the mode nothing else is kept.
    const Attributes attributes{old ? old->st_mode & 0777 : modeOfNewFiles(), modified};
    const Descriptor file = openForReading(source);
    setAttributes(file, attributes, source);
    // A rename may reach the disk before the content does, and the old file would be lost.
    if (old) storeData(file, target);
    if (rename(source.c_str(), target.c_str()) == 0) return;
    if (errno != EXDEV) throwSystemFailure(errno, "Cannot write " + target.string());
    copyToPlace(file, source, target, attributes);
}

void linkOrCopy(const fs::path& source, const fs::path& path) {
    Descriptor from = openForReading(source);
    struct stat there {};
    if (fstat(from.number(), &there) != 0)
        throwSystemFailure(errno, "Cannot read " + source.string());
    if (S_ISDIR(there.st_mode)) throwSystemFailure(EISDIR, "Cannot read " + source.string());
    if (S_ISREG(there.st_mode) && source != "/dev/stdin") {
        std::error_code problem;
        fs::remove(path, problem);
        fs::create_symlink(fs::absolute(source), path, problem);
        if (!problem) return;
    }
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    Descriptor to(open(path.c_str(), flags, 0600), "Cannot write " + path.string());
    copyContent(from, source, to, path);
    if (const int error = to.shut()) throwSystemFailure(error, "Cannot write " + path.string());
}

}  // namespace vxhost
