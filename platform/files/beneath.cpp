#include "platform/files/beneath.hpp"

#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <optional>

namespace vxhost {
namespace {

constexpr int mostTries = 16;  // of a path that is renamed while it is looked up

std::string takeSegment(std::string_view& path) {
    const size_t end = std::min(path.find('/'), path.size());
    std::string segment(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
    return segment;
}

void checkPath(std::string_view path) {
    if (path.empty()) return;
    bool fits = !path.ends_with('/') && path.find('\0') == path.npos;
    for (std::string_view rest = path; !rest.empty();) {
        const std::string segment = takeSegment(rest);
        fits = fits && !segment.empty() && segment != "." && segment != "..";
    }
    if (fits) return;
    throw Failure(FSBOX_DENIED, std::string(path) + " leads out of the folder");
}

bool isLink(int directory, const std::string& name) {
    struct stat entry {};
    return fstatat(directory, name.c_str(), &entry, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(entry.st_mode);
}

[[noreturn]] void throwNotOpened(int error, std::string_view path) {
    if (error == ELOOP || error == EXDEV) {
        throw Failure(FSBOX_DENIED,
                      std::string(path) + " is or has a symbolic link, which is not followed");
    }
    throwSystemFailure(error, std::string(path));
}

// Nothing where the kernel does not do it, or somebody keeps it busy; -1 with errno.
std::optional<int> openat2(int directory, const std::string& path, int flags, mode_t mode) {
    static std::atomic<bool> isMissing = false;
    if (isMissing) return {};
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.mode = mode;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    long number = -1;
    int tries = 0;
    do {
        number = syscall(SYS_openat2, directory, path.c_str(), &how, sizeof how);
    } while (number < 0 && (errno == EAGAIN || errno == EINTR) && ++tries < mostTries);
    if (number >= 0) return static_cast<int>(number);
    isMissing = errno == ENOSYS;
    // EPERM: a container of old forbids what it does not know.
    if (isMissing || errno == EPERM || tries == mostTries) return {};
    return -1;
}

}  // namespace

BeneathPath splitBeneath(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (slash == path.npos) return {{}, std::string(path)};
    return {std::string(path.substr(0, slash)), std::string(path.substr(slash + 1))};
}

Descriptor openBeneath(const Descriptor& directory, std::string_view path, int flags, mode_t mode) {
    checkPath(path);
    const std::string name = path.empty() ? "." : std::string(path);
    const auto number = openat2(directory.number(), name, flags | O_NOFOLLOW | O_CLOEXEC, mode);
    // ENOTDIR leaves open whether it was a link.
    const bool bySteps = !number || (*number < 0 && errno == ENOTDIR);
    if (bySteps) return openBeneathBySteps(directory, path, flags, mode);
    if (*number < 0) throwNotOpened(errno, path);
    return {*number, name};
}

Descriptor openBeneathBySteps(const Descriptor& directory, std::string_view path, int flags,
                              mode_t mode) {
    checkPath(path);
    std::optional<Descriptor> folder;
    std::string_view rest = path;
    std::string segment = rest.empty() ? "." : takeSegment(rest);
    for (;; segment = takeSegment(rest)) {
        const bool isLast = rest.empty();
        const int how = isLast ? flags : O_PATH | O_DIRECTORY;
        const int from = folder ? folder->number() : directory.number();
        const int number = openat(from, segment.c_str(), how | O_NOFOLLOW | O_CLOEXEC, mode);
        if (number < 0) {
            const int error = errno;
            throwNotOpened(error == ENOTDIR && isLink(from, segment) ? ELOOP : error, path);
        }
        Descriptor opened(number, segment);
        if (isLast) return opened;
        folder = std::move(opened);
    }
}

}  // namespace vxhost
