// Passwords out of files.
#pragma once

#include <string>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// The first line of a file; "-": of the standard input. Fails with Kind::local when it is empty.
Result<Secret> readPasswordFile(const std::string& path);

}  // namespace quillon::cli
