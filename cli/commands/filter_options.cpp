#include "cli/commands/filter_options.hpp"

#include <string>

namespace quillon::cli {

void addFilterOptions(CommandDefinition command, Filter& filter) {
    command
        .addOption(
            "-x,--exclude", [&filter](const std::string& text) { return filter.exclude(text); },
            "Leave out what matches, as a line of .gitignore does; the last one decides")
        .typeName("PATTERN")
        .eachInTurn();
    command
        .addOption(
            "-i,--include", [&filter](const std::string& text) { return filter.include(text); },
            "Take what matches all the same")
        .typeName("PATTERN")
        .eachInTurn();
    command
        .addOption(
            "--exclude-from",
            [&filter](const std::string& text) { return filter.excludeFrom(text); },
            "Leave out what its lines match")
        .typeName("FILE")
        .eachInTurn();
}

}  // namespace quillon::cli
