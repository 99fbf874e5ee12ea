#include "platform/files/wait_for_lock.hpp"

#include <sys/file.h>

#include <cerrno>

namespace vxhost {

void waitForLock(const Descriptor& file, const std::string& shown) {
    while (flock(file.number(), LOCK_EX) != 0) {
        if (errno != EINTR) throwSystemFailure(errno, "Cannot lock " + shown);
    }
}

}  // namespace vxhost
