// The commands and options as the parser knows them, for what is made from them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quillon::cli {

inline const CLI::App* findCommand(const CLI::App& program, const std::string& name) {
    const auto found =
        program.get_subcommands([&name](const CLI::App* each) { return each->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

inline std::vector<const CLI::Option*> operandsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* each) { return each->get_positional(); });
}

inline std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* each) { return each->nonpositional(); });
}

inline bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() != 0;
}

inline bool repeatable(const CLI::Option& operand) {
    return operand.get_expected_max() == CLI::detail::expected_max_vector_size;
}

}  // namespace quillon::cli
