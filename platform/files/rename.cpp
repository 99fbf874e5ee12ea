#include "platform/files/rename.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/system_failure.hpp"

namespace vxhost {

bool renameToFree(int directory, const std::string& from, const std::string& to,
                  const std::string& attempt) {
    return renameToFree(directory, from, directory, to, attempt);
}

// Not every file system knows the renaming that replaces nothing, nor each hard links.
bool renameToFree(int fromDirectory, const std::string& from, int toDirectory,
                  const std::string& to, const std::string& attempt) {
    if (renameat2(fromDirectory, from.c_str(), toDirectory, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EINVAL || errno == ENOSYS) {
        if (linkat(fromDirectory, from.c_str(), toDirectory, to.c_str(), 0) == 0) {
            unlinkat(fromDirectory, from.c_str(), 0);
            return true;
        }
    }
    if (errno == EEXIST) return false;
    throwSystemFailure(errno, attempt.empty() ? "Cannot write " + to : attempt);
}

}  // namespace vxhost
