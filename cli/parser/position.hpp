// What the next word of a command line means, by the words before it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

struct Position {
    explicit Position(CommandDefinition parsed) : program(parsed), command(parsed) {}

    CommandDefinition program;
    CommandDefinition command;                 // the program itself until one is named
    std::optional<OptionDefinition> awaits{};  // the option whose value comes next
    size_t operands = 0;
    bool optionsEnded = false;  // behind "--"

    void advance(const std::string& word);

    // Commands take the program's options, too.
    std::optional<OptionDefinition> findOption(const std::string& name) const;
    bool mayBeOption(const std::string& word) const;
    // What the next word is called unless it is an option or the value of one: "URL", "FILE...".
    // The last operand may be repeated. Empty: none can follow.
    std::string operandName() const;
    // As they are typed: the command's, then those of the program's that no own one hides.
    std::vector<std::string> optionNames() const;
    // What that says of the next word.
    bool namesLocalFiles() const;
    bool namesUrls() const;

private:
    std::optional<OptionDefinition> awaitingOption(const std::string& word) const;
};

}  // namespace quillon::cli
