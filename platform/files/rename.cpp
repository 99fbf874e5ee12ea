#include "platform/files/rename.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/system_failure.hpp"

namespace vxhost {

// Not every file system knows the renaming that replaces nothing, nor each hard links.
bool renameToFree(int directory, const std::string& from, const std::string& to) {
    if (renameat2(directory, from.c_str(), directory, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EINVAL || errno == ENOSYS) {
        if (linkat(directory, from.c_str(), directory, to.c_str(), 0) == 0) {
            unlinkat(directory, from.c_str(), 0);
            return true;
        }
    }
    if (errno == EEXIST) return false;
    throwSystemFailure(errno, "Cannot write " + to);
}

}  // namespace vxhost
