// A file descriptor and its end.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/base/system_failure.hpp"

namespace vxhost {

class Descriptor {
public:
    // open(2) with O_CLOEXEC; throws a Failure that names the path.
    Descriptor(const std::string& path, int flags, mode_t mode = 0)
        : number_(open(path.c_str(), flags | O_CLOEXEC, mode)) {
        if (number_ < 0) throwSystemFailure(errno, path);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { shut(); }

    int number() const { return number_; }

    // Some file systems tell here alone that data was lost. Returns 0 or the error.
    int shut() {
        const int number = std::exchange(number_, -1);
        if (number < 0 || ::close(number) == 0 || errno == EINTR) return 0;
        return errno;
    }

private:
    int number_;
};

// Everything or an error: returns 0 or errno.
inline int writeWhole(int descriptor, const char* data, size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(descriptor, data, length);
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) {
            data += written;
            length -= static_cast<size_t>(written);
        }
    }
    return 0;
}

}  // namespace vxhost
