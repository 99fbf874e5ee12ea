// Commands that a message suggests, to be pasted into a shell as they are.
#pragma once

#include <string>
#include <string_view>

namespace quillon::cli {

std::string unlockCommand(std::string_view url, std::string_view token);

}  // namespace quillon::cli
