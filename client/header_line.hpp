// Header fields that a person adds to requests, as lines "Name: value".
#pragma once

#include <string>
#include <string_view>

namespace quillon {

// What is wrong with such a line, behind its subject; empty: nothing. A value may be a secret and
// is not repeated.
std::string headerProblem(std::string_view line);

// The value of such a line, without the blanks before it; empty: it has none.
std::string_view headerValue(std::string_view line);

}  // namespace quillon
