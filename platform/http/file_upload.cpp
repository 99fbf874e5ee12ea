#include "platform/http/file_upload.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/base/status.hpp"
#include "platform/base/system_failure.hpp"

namespace vxhost {
namespace {

bool isSameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

FileUpload::FileUpload(Descriptor file, std::filesystem::path shown,
                       std::function<void(int64_t bytes)> moved)
    : file_(std::move(file)), shown_(std::move(shown)), moved_(std::move(moved)) {
    if (fstat(file_.number(), &begun_) != 0) throwSystemFailure(errno, shown_.string());
    size_ = static_cast<uint64_t>(begun_.st_size);
}

void FileUpload::fail(const std::string& why) {
    failed_ = true;
    throw Failure(FSBOX_IO, shown_.string() + why);
}

void FileUpload::requireUnchanged() {
    struct stat now {};
    const bool same = fstat(file_.number(), &now) == 0 && now.st_size == begun_.st_size &&
                      isSameTime(now.st_mtim, begun_.st_mtim);
    if (!same) fail(" was changed while it was read, so it was not stored. Try again");
}

size_t FileUpload::read(char* to, size_t room) {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(room, size_ - position_));
    if (wanted == 0) return 0;
    ssize_t got = -1;
    do {
        got = pread(file_.number(), to, wanted, static_cast<off_t>(position_));
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        failed_ = true;
        throwSystemFailure(errno, shown_.string());
    }
    if (got == 0) fail(" became shorter while it was read, so it was not stored. Try again");
    hash_.add({to, static_cast<size_t>(got)});
    position_ += static_cast<uint64_t>(got);
    if (moved_) moved_(got);
    if (position_ == size_) requireUnchanged();
    return static_cast<size_t>(got);
}

void FileUpload::rewind() {
    if (moved_) moved_(-static_cast<int64_t>(position_));
    position_ = 0;
    hash_.reset();
}

}  // namespace vxhost
