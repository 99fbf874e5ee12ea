#include "platform/files/complete_file.hpp"

#include <cstdio>
#include <utility>

#include "platform/files/random_name.hpp"

namespace vxhost {

CompleteFile::CompleteFile(std::filesystem::path destination, std::string_view content)
    : destination_(std::move(destination)),
      path_(destination_.string() + "." + randomName()),
      file_(path_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600) {
    int error = writeWhole(file_.number(), content.data(), content.size());
    if (error == 0 && fsync(file_.number()) != 0) error = errno;
    if (error == 0) error = file_.shut();
    if (error == 0) return;
    unlink(path_.c_str());
    throwSystemFailure(error, path_);
}

CompleteFile::~CompleteFile() {
    unlink(path_.c_str());  // of a random name: nobody else's after a rename
}

void CompleteFile::replaceDestination() {
    if (rename(path_.c_str(), destination_.c_str()) != 0) throwSystemFailure(errno, destination_);
    syncDirectory();
}

void CompleteFile::becomeDestination() {
    if (link(path_.c_str(), destination_.c_str()) != 0 && errno != EEXIST) {
        throwSystemFailure(errno, destination_);
    }
    syncDirectory();
}

void CompleteFile::syncDirectory() const {
    const Descriptor directory(destination_.parent_path(), O_RDONLY | O_DIRECTORY);
    fsync(directory.number());
}

}  // namespace vxhost
