// Whether a host is the machine that this runs on.
#pragma once

#include <string>

namespace quillon::cli {

// 127.0.0.0/8, ::1 or localhost: nobody else is on the way.
bool isThisMachine(const std::string& host);

}  // namespace quillon::cli
