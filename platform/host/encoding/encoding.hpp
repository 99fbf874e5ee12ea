// The encoding service: passwords of stored configuration, encrypted under a key of the person's
// own.
//
// A stored text is "{zebsodium1}" and, in the URL alphabet of base64 without padding, a random
// nonce and what XChaCha20-Poly1305 makes of the UTF-8 password, with the tag as associated data.
// Decoding tells texts apart by their beginning:
//   - our tag, or "{base64}" (any case) and the base64 of UTF-8 text: decoded, and refused with
//     ENCODING_REFUSED when anything in them is not as it must be;
//   - another tag that begins with "{zeb", "{cfg}" or "{cfgenc}": ENCODING_REFUSED, another program
//     encoded it. The extension would hand such a text out as it stands, clear as it may be;
//   - anything else is a clear text, and left unchanged.
// ENCODING_KEY_EXPOSED and ENCODING_NO_KEY come from key.hpp.
#pragma once

#include <filesystem>
#include <string_view>

#include "host/kernel.h"
#include "platform/base/secret.hpp"

namespace vxhost {

// Its context is the address of an EncodingContext. Usable from several threads.
vx::EncodingService& encodingService();

struct EncodingContext {
    std::filesystem::path keyFile;
};

// The key file of the person whose configuration is in that directory.
std::filesystem::path keyFileIn(const std::filesystem::path& configDirectory);

// A stored password in clear, as UTF-8. A text without any of the tags above is refused, too: it
// may be what is left of one. Throws a Failure.
Secret decodeStored(std::string_view text, const std::filesystem::path& keyFile);

}  // namespace vxhost
