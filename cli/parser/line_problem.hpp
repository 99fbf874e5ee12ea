// What is wrong with a command line, for the person who typed it.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quillon::cli {

// Behind a word like "[a,b]", which the library would take for a list of two, or "--user=", whose
// value it would take from the next word; no word has it.
inline constexpr char mark = '\0';
std::string withoutMark(std::string word);

// "-name" of "-name=*.csv", "-uann" of "-uann:secret".
std::string withoutValue(const std::string& word);

// A sentence. program: as it was left by the problem; first: the line's first word; typedOptions:
// those words that begin with a dash, without their values.
std::string lineProblem(const CLI::App& program, const CLI::Error& problem,
                        const std::string& first, const std::vector<std::string>& typedOptions);

}  // namespace quillon::cli
