#include "platform/files/complete_file.hpp"

#include <cstdio>
#include <utility>

#include "platform/files/content.hpp"
#include "platform/files/random_name.hpp"
#include "platform/files/rename.hpp"

namespace vxhost {
namespace {

namespace fs = std::filesystem;

std::string writing(const fs::path& path) {
    return "Cannot write " + path.string();
}

}  // namespace

CompleteFile::CompleteFile(fs::path destination)
    : destination_(std::move(destination)),
      path_(destination_.parent_path() / (hiddenPrefix + randomName())),
      file_(open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600),
            "Cannot create a file beside " + destination_.string()) {}

CompleteFile::CompleteFile(fs::path destination, std::string_view content)
    : CompleteFile(std::move(destination)) {
    if (const int error = writeWhole(file_, content)) {
        throwSystemFailure(error, writing(destination_));
    }
}

CompleteFile::~CompleteFile() {
    unlink(path_.c_str());  // of a random name: nobody else's after a rename
}

void CompleteFile::replaceDestination() {
    store();
    if (rename(path_.c_str(), destination_.c_str()) != 0) {
        throwSystemFailure(errno, writing(destination_));
    }
    storeDirectory(destination_.parent_path());
}

void CompleteFile::becomeDestination() {
    store();
    if (renameToFree(AT_FDCWD, path_, destination_)) storeDirectory(destination_.parent_path());
}

void CompleteFile::becomeDestinationUnstored() {
    renameToFree(AT_FDCWD, path_, destination_);
}

void CompleteFile::store() {
    storeData(file_, destination_);
}

void storeData(const Descriptor& file, const fs::path& shown) {
    // EINVAL and EROFS are of files that cannot be synchronised.
    if (fdatasync(file.number()) == 0 || errno == EINVAL || errno == EROFS) return;
    throwSystemFailure(errno, writing(shown));
}

// Best effort: one that can be written need not be open to reading.
void storeDirectory(const fs::path& directory) {
    const int number =
        open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (number < 0) return;
    fsync(number);
    close(number);
}

}  // namespace vxhost
