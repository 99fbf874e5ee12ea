#include "platform/files/directories.hpp"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/base/system_failure.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

// A relative path is to be ignored, as XDG has it.
fs::path absoluteFrom(const char* variable) {
    const char* value = std::getenv(variable);
    fs::path path = value != nullptr ? value : "";
    return path.is_absolute() ? path : fs::path();
}

fs::path home() {
    if (fs::path path = absoluteFrom("HOME"); !path.empty()) return path;
    const passwd* person = getpwuid(getuid());
    return person != nullptr ? person->pw_dir : "/";
}

fs::path ownDirectory(const char* variable, const char* fallback) {
    fs::path base = absoluteFrom(variable);
    if (base.empty()) base = home() / fallback;
    return base / "quillon";
}

void makeMissing(const fs::path& directory) {
    if (mkdir(directory.c_str(), 0700) == 0) return;
    if (errno == ENOENT && directory.has_parent_path() && directory.parent_path() != directory) {
        makeMissing(directory.parent_path());
        if (mkdir(directory.c_str(), 0700) == 0) return;
    }
    const int error = errno;  // EEXIST also when another process was faster, and for a file
    if (error == EEXIST && fs::is_directory(directory)) return;
    throwSystemFailure(error, "Cannot make the directory " + directory.string());
}

}  // namespace

fs::path cacheHome() {
    return ownDirectory("XDG_CACHE_HOME", ".cache");
}

fs::path configHome() {
    return ownDirectory("XDG_CONFIG_HOME", ".config");
}

fs::path stateHome() {
    return ownDirectory("XDG_STATE_HOME", ".local/state");
}

void makePrivateDirectories(const fs::path& directory) {
    makeMissing(directory);
    checkOwnDirectory(directory);
}

void checkOwnDirectory(const fs::path& directory) {
    struct stat entry {};
    if (stat(directory.c_str(), &entry) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return;
        throwSystemFailure(errno, directory);
    }
    if (entry.st_uid != geteuid()) {
        throw Failure(FSBOX_DENIED, "The directory " + directory.string() +
                                        " is not your own, so it is not used. Make it yours, or "
                                        "move it away");
    }
    if ((entry.st_mode & 022) != 0) {
        throw Failure(FSBOX_DENIED, "Others can change the directory " + directory.string() +
                                        ", so it is not used. Look through it, then take that "
                                        "right away (chmod go-w)");
    }
}

}  // namespace vxhost
