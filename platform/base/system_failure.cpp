#include "platform/base/system_failure.hpp"

#include <cerrno>
#include <system_error>

namespace vxhost {

Status systemStatus(int error) noexcept {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return FSBOX_NO_SPACE;
        case EACCES:
        case EPERM:
        case EROFS:
        case ELOOP:  // a symbolic link where none is followed
            return FSBOX_DENIED;
        case EEXIST:
            return FSBOX_EXISTS;
        case ENOENT:
        case ENOTDIR:
            return vx::VX_PATH_NOT_FOUND;
        case ENOMEM:
            return vx::VX_NO_MEMORY;
        case EINTR:
            return WEBLNK_INTERRUPTED;
        default:
            return FSBOX_IO;
    }
}

bool isFileFailure(Status status) noexcept {
    return status == FSBOX_NO_SPACE || status == FSBOX_DENIED || status == FSBOX_EXISTS ||
           status == vx::VX_PATH_NOT_FOUND || status == FSBOX_IO;
}

void throwSystemFailure(int error, const std::string& what) {
    throw Failure(systemStatus(error), what + ": " + std::generic_category().message(error));
}

}  // namespace vxhost
