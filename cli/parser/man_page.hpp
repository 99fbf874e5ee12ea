// Manual pages, made from the very definitions that --help shows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

// A file or a variable of the environment.
struct Named {
    std::string_view name, meaning;
    std::string_view commands = {};  // whose pages tell of it, too: " edit open "
};

struct Surroundings {
    std::span<const Named> files, variables;
};

// The page of a command, or of the program when the name is empty, as the man macros of roff take
// it. Empty: there is no such command. The footer's paragraphs become the description, but for
// those that begin with "Examples:" and "Exit codes:".
std::string manPage(const Parser& parser, const std::string& command,
                    const Surroundings& surroundings);

// A file of settings: its keys, each with what its value is.
struct FormatPage {
    std::string_view name, meaning, file;
    std::string_view description, examples;  // paragraphs, as of a footer
    struct Key {
        std::string_view name, type, meaning;
    };
    std::vector<Key> keys;
};

// Of section 5.
std::string manPage(const Parser& parser, const FormatPage& format);

}  // namespace quillon::cli
