// Passwords in the form in which configurations store them, under a key of the person's own.
#pragma once

#include <string>
#include <string_view>

#include "client/extension.hpp"
#include "client/secret.hpp"

namespace quillon {

// Through the extension's own operation, which makes the key when there is none; decodePassword
// gives the password back. Fails with Kind::usage for blanks alone, which have no encoded form, and
// for what begins like an encoded text and would be taken for one.
Result<std::string> encodePassword(const Extension& extension, const Secret& password);

// The reverse; it needs no extension, only the key. A text that was altered, that another program
// stored or that is not encoded fails with Kind::local, and so does a key that others can read.
Result<Secret> decodePassword(std::string_view stored);

// What Basic sends of both (RFC 7617, 2), without padding.
Secret basicCredentials(std::string_view user, const Secret& password);

}  // namespace quillon
