// Lines of the shell as words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"

namespace quillon::cli {

// Blanks part words but inside quotes of either kind; a backslash takes the next character as it
// stands, but between single quotes. Nothing is expanded. A line that begins with # has no words.
// Fails with Kind::usage when a quote is left open.
Result<std::vector<std::string>> splitWords(std::string_view line);

// A name in a form that splitWords takes for one word.
std::string quotedWord(std::string_view name);

// The word that a cursor at the line's end stands in, as far as it is typed, and how many words
// come before it. The open quote, if there is one, counts as closed.
struct LastWord {
    size_t before = 0;
    std::string text;
    size_t start = 0;  // of the word in the line, quotes included
};
LastWord lastWord(std::string_view line);

}  // namespace quillon::cli
