// Stored passwords as bytes: sealed under a key, and opened again.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/secret.hpp"

namespace vxhost {

inline constexpr std::string_view sealTag = "{zebsodium1}";

// The tag and the sealed text behind it. Two seals of one text differ.
std::string seal(const Secret& clear, const Secret& key);

// text: what stands behind the tag. Throws a Failure ENCODING_REFUSED when it was not sealed with
// this key and tag, or anything in it was changed.
Secret unseal(std::string_view text, const Secret& key);

// Base64 of RFC 4648, 4, with its padding. Throws a Failure ENCODING_REFUSED.
Secret decodeBase64(std::string_view text);

// The reverse, without padding.
Secret encodeBase64(std::string_view bytes);

}  // namespace vxhost
