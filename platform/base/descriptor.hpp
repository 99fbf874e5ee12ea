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
        : Descriptor(open(path.c_str(), flags | O_CLOEXEC, mode), path) {}
    // One that is open already, or -1: then errno is thrown as a Failure that names it.
    Descriptor(int number, const std::string& what) : number_(number) {
        if (number_ < 0) throwSystemFailure(errno, what);
    }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
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

}  // namespace vxhost
