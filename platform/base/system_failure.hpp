// Errors of system calls as statuses.
#pragma once

#include <string>

#include "platform/base/status.hpp"

namespace vxhost {

// FSBOX_NO_SPACE, FSBOX_DENIED, FSBOX_EXISTS, VX_PATH_NOT_FOUND, VX_NO_MEMORY, WEBLNK_INTERRUPTED
// for a signal, else FSBOX_IO.
Status systemStatus(int error) noexcept;

// Whether it is one of these and about a file.
bool isFileFailure(Status status) noexcept;

// what: the thing that could not be had, the system's reason is put behind it.
[[noreturn]] void throwSystemFailure(int error, const std::string& what);

}  // namespace vxhost
