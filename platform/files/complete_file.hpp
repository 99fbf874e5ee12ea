// Files that appear under their name complete, or not at all.
#pragma once

#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// A new file of mode 0600 beside its destination, under a hidden name. It is removed at the end of
// the scope unless it was renamed. Everything throws a Failure.
class CompleteFile {
public:
    explicit CompleteFile(std::filesystem::path destination);
    CompleteFile(std::filesystem::path destination, std::string_view content);
    CompleteFile(const CompleteFile&) = delete;
    CompleteFile& operator=(const CompleteFile&) = delete;
    ~CompleteFile();

    const Descriptor& file() const { return file_; }
    Descriptor takeFile() { return std::move(file_); }  // when it is in place

    // Both have all of the content on the disk before.
    void replaceDestination();  // with this file, whatever is there
    void becomeDestination();   // unless there is one: then it stays, which is no failure
    // The same, for what need only outlive this process: nothing is waited for.
    void becomeDestinationUnstored();

private:
    void store();

    const std::filesystem::path destination_;
    const std::filesystem::path path_;
    Descriptor file_;
};

// Has what was written on the disk, as far as its file system can.
void storeData(const Descriptor& file, const std::filesystem::path& shown);

// The same of the names in a directory; what cannot be is left to the file system's own promise.
void storeDirectory(const std::filesystem::path& directory);

}  // namespace vxhost
