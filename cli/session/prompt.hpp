// Questions to the person, on the terminal itself: standard input and output may be files.
#pragma once

#include <string>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

bool canPrompt();    // there is a terminal
void neverPrompt();  // from now on, as if there were none

Result<std::string> promptLine(const std::string& question);
// What is typed is not shown, and the terminal is as before however this ends.
Result<Secret> promptSecret(const std::string& question);

}  // namespace quillon::cli
