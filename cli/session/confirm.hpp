// What was changed, in words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/session/session.hpp"

namespace quillon::cli {

// "stored new.txt, 4 B", a line on standard output: at a terminal, and with -v; never with --quiet.
void confirm(Session& session, std::string_view deed, std::string_view name,
             std::optional<uint64_t> size = {});

}  // namespace quillon::cli
