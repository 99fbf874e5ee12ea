// Passwords out of files.
#pragma once

#include <string>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// The first line of a file; "-": of the standard input. Fails with Kind::local when it is empty.
// A file that others can read is used, and told of.
Result<Secret> readPasswordFile(const std::string& path);

}  // namespace quillon::cli
