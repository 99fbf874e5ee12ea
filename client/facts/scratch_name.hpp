// The names of scratch members: whose they are, and that they are nobody's content.
#pragma once

#include <string>
#include <string_view>

namespace quillon {

// ".quillon-scratch-HOST-PROCESS-RANDOM", of this machine and process.
std::string scratchName();

// Of any machine: what has such a name is no member that a person has stored.
bool isScratchName(std::string_view name);

// Whether a process of this machine has left it, which lives no more.
bool isLeftScratch(std::string_view name);

}  // namespace quillon
