// Passwords and tokens out of files.
#pragma once

#include <string>
#include <string_view>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// The first line of a file; "-": of the standard input. Fails with Kind::local when it is empty, or
// cannot be sent; what is "password" or "token". A file that others can read or change is used, and
// told of.
Result<Secret> readSecretFile(const std::string& path, std::string_view what);

// Says of a file of secrets that others can read or change it, where they can; no option silences
// that. "-": the standard input.
void tellIfOpenToOthers(const std::string& path, std::string_view what);

}  // namespace quillon::cli
