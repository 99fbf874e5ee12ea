// The help of a command, laid out for a terminal.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <memory>
#include <string>

namespace quillon::cli {

// columns: that a line may have.
std::shared_ptr<CLI::FormatterBase> makeUsage(size_t columns);

// What an option is for, and which others it does not go with.
std::string meaningOf(const CLI::Option& option);

}  // namespace quillon::cli
