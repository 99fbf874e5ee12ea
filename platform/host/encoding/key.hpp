// The key of a person's stored passwords: 32 random bytes in a file of mode 0600.
#pragma once

#include <filesystem>

#include "platform/base/secret.hpp"

namespace vxhost {

// Throw a Failure: ENCODING_KEY_EXPOSED when the file is not the person's own or others have any
// right to it, ENCODING_NO_KEY when it is missing or no key.
Secret loadKey(const std::filesystem::path& file);

// Makes the file and its directories when it is missing. Of several processes that do so at the
// same time one makes it and all return the same key.
Secret loadOrCreateKey(const std::filesystem::path& file);

}  // namespace vxhost
