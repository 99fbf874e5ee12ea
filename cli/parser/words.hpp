// Lines of the shell as words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"

namespace quillon::cli {

struct ShellWord {
    std::string text;
    // The same as fnmatch() reads it; empty: no *, ? or [ stands there without quotes.
    std::string pattern;
};

// Blanks part words but inside quotes of either kind; a backslash takes the next character as it
// stands, but between single quotes. Nothing is expanded. A line that begins with # has no words.
// Fails with Kind::usage when a quote is left open, and for > and | without quotes, by which people
// mean what there is not here.
Result<std::vector<ShellWord>> splitShellWords(std::string_view line);
Result<std::vector<std::string>> splitWords(std::string_view line);  // their texts

// A name in a form that splitWords takes for one word.
std::string quotedWord(std::string_view name);

// The word that a cursor at the line's end stands in, as far as it is typed, and the words before
// it. The open quote, if there is one, counts as closed.
struct LastWord {
    size_t before = 0;
    std::string text;
    size_t start = 0;  // of the word in the line, quotes included
    std::vector<std::string> wordsBefore{};
};
LastWord lastWord(std::string_view line);

}  // namespace quillon::cli
