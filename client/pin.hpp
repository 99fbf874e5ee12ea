// Pins of public keys (RFC 7469), in curl's form: "sha256//" and the hash in base64.
#pragma once

#include <string_view>

namespace quillon {

// What is wrong with one, behind its subject; empty: nothing.
std::string_view pinProblem(std::string_view pin);

}  // namespace quillon
