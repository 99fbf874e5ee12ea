// Names as a person types them in the shell.
#pragma once

#include <string_view>

#include "client/address.hpp"

namespace quillon::cli {

// A path from the base collection, or with a first slash from the server's root: its names are as
// ls shows them, every character is theirs, and a final slash means a collection. "" is the base.
// A text with "://" is a URL, and what begins with "http:" or "https:" was meant as one.
Result<Address> resolveShellPath(const Address& base, std::string_view typed);

}  // namespace quillon::cli
