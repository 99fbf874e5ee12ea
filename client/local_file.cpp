#include "client/local_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr const char* STANDARD_INPUT = "/dev/stdin";

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    int get() const { return number_; }
    bool shut() { return close(std::exchange(number_, -1)) == 0; }  // tells of a late failure
    explicit operator bool() const { return number_ >= 0; }

private:
    int number_;
};

// Pipes and devices may wait for ever: a signal that is handled meanwhile ends that.
Error fileError(std::string_view what, const fs::path& path, int number) {
    if (number == EINTR) return interruption();
    return localError(Kind::local, std::string(what) + " " + path.string() + ": " +
                                       std::generic_category().message(number) + ".");
}

bool writeAll(int descriptor, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0) return false;
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Opened anew, a closed standard input would be another file, and a shared one begin again.
Descriptor openForReading(const fs::path& source) {
    if (source == STANDARD_INPUT) return Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    return Descriptor(open(source.c_str(), O_RDONLY | O_CLOEXEC));
}

Result<void> copyInto(const fs::path& source, Descriptor to, const fs::path& shownTo) {
    const Descriptor from = openForReading(source);
    if (!from) return fileError("Cannot read", source, errno);
    if (!to) return fileError("Cannot write", shownTo, errno);
    std::array<char, 1 << 17> buffer;
    for (;;) {
        const ssize_t got = read(from.get(), buffer.data(), buffer.size());
        if (got < 0) return fileError("Cannot read", source, errno);
        if (got == 0) break;
        if (!writeAll(to.get(), buffer.data(), static_cast<size_t>(got))) {
            return fileError("Cannot write", shownTo, errno);
        }
    }
    if (!to.shut()) return fileError("Cannot write", shownTo, errno);
    return {};
}

// The mask can be read by changing it alone, which two threads must not do at a time.
mode_t modeOfNewFiles() {
    static const mode_t mask = [] {
        const mode_t before = umask(0);
        umask(before);
        return before;
    }();
    return 0666 & ~mask;
}

void setTimes(const fs::path& path, std::optional<Time> modified) {
    if (!modified) return;
    const auto whole = std::chrono::floor<std::chrono::seconds>(*modified);
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(whole.time_since_epoch().count());
    times[1].tv_nsec = static_cast<long>(std::chrono::nanoseconds(*modified - whole).count());
    utimensat(AT_FDCWD, path.c_str(), times, 0);  // a file system without times is no failure
}

// A copy beside the destination, under a name that nobody else uses.
Result<fs::path> copyBeside(const fs::path& source, const fs::path& destination) {
    std::string name = (destination.parent_path() / ".quillon-XXXXXX").string();
    Descriptor to(mkostemp(name.data(), O_CLOEXEC));
    if (!to) return fileError("Cannot create a file beside", destination, errno);
    Result<void> copied = copyInto(source, std::move(to), name);
    if (copied) return fs::path(name);
    unlink(name.c_str());
    return std::move(copied).error();
}

}  // namespace

Result<void> putInPlace(const fs::path& source, const fs::path& destination,
                        std::optional<Time> modified) {
    std::error_code none;
    const fs::path resolved = fs::canonical(destination, none);
    const fs::path target = none ? destination : resolved;
    struct stat old {};
    const bool replaces = stat(target.c_str(), &old) == 0;
    if (replaces && !S_ISREG(old.st_mode)) {
        return copyInto(source, Descriptor(open(target.c_str(), O_WRONLY | O_CLOEXEC)), target);
    }
    const mode_t mode = replaces ? old.st_mode & 07777 : modeOfNewFiles();
    if (chmod(source.c_str(), mode) != 0) return fileError("Cannot change", source, errno);
    setTimes(source, modified);
    if (rename(source.c_str(), target.c_str()) == 0) return {};
    if (errno != EXDEV) return fileError("Cannot write", target, errno);

    Result<fs::path> copy = copyBeside(source, target);
    if (!copy) return std::move(copy).error();
    chmod(copy->c_str(), mode);
    setTimes(*copy, modified);
    if (rename(copy->c_str(), target.c_str()) != 0) {
        const int number = errno;
        unlink(copy->c_str());
        return fileError("Cannot write", target, number);
    }
    unlink(source.c_str());
    return {};
}

Result<void> linkOrCopy(const fs::path& source, const fs::path& path) {
    struct stat there {};
    if (stat(source.c_str(), &there) != 0) return fileError("Cannot read", source, errno);
    if (S_ISDIR(there.st_mode)) return fileError("Cannot read", source, EISDIR);
    if (S_ISREG(there.st_mode) && source != STANDARD_INPUT) {
        if (access(source.c_str(), R_OK) != 0) return fileError("Cannot read", source, errno);
        std::error_code problem;
        fs::remove(path, problem);
        fs::create_symlink(fs::absolute(source), path, problem);
        if (!problem) return {};
    }
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    return copyInto(source, Descriptor(open(path.c_str(), flags, 0600)), path);
}

}  // namespace quillon
