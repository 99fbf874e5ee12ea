// What the program prints. What a stream does not take is no exception, which would come out of
// anything that prints, a destructor or a handler of another one as well: the rest goes on, and the
// program's end tells of it.
#pragma once

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace quillon::cli {

// To the standard output, and to that of errors. Gives an errno, or 0.
int writeOut(std::string_view text);
int writeErrors(std::string_view text);

int flushOut();  // what the standard output keeps; gives an errno, or 0

// Of what it did not take first, an errno; 0: it took everything so far.
int outputError();

template <class... Arguments>
void printOut(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    writeOut(fmt::format(format, std::forward<Arguments>(arguments)...));
}

template <class... Arguments>
void printErrors(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    writeErrors(fmt::format(format, std::forward<Arguments>(arguments)...));
}

}  // namespace quillon::cli
