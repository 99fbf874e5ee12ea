// Questions that are answered yes or no.
#pragma once

#include <string>

#include "client/result.hpp"

namespace quillon::cli {

// Whether the person says yes. Without a terminal that is no, which is Kind::usage, and names the
// option that says yes.
Result<bool> askPerson(const std::string& question, const std::string& option);

}  // namespace quillon::cli
