// Files that appear under their name complete, or not at all.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// A new file of mode 0600 beside its destination, with all of the content on the disk. It is
// removed at the end of the scope unless it was renamed. Everything throws a Failure.
class CompleteFile {
public:
    CompleteFile(std::filesystem::path destination, std::string_view content);
    CompleteFile(const CompleteFile&) = delete;
    CompleteFile& operator=(const CompleteFile&) = delete;
    ~CompleteFile();

    void replaceDestination();  // with this file, whatever is there
    void becomeDestination();   // unless there is one: then it stays, which is no failure

private:
    void syncDirectory() const;  // where a file system cannot, its own promise must do

    const std::filesystem::path destination_;
    const std::string path_;
    Descriptor file_;
};

}  // namespace vxhost
