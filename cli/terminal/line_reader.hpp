// Where a shell's lines come from: a person at a terminal, with editing, history and completion, or
// a file.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::cli {

class LineReader {
public:
    virtual ~LineReader() = default;
    // Nothing at the end. At a terminal, an interrupt (process.hpp) gives an empty line.
    virtual std::optional<std::string> next(const std::string& prompt) = 0;
};

// What comes in place of the end of a line, or the choices that there are for it.
struct Completion {
    size_t replaced = 0;                 // bytes
    std::string word;                    // quoted; empty: nothing fits
    std::vector<std::string> choices{};  // to show, as they are; a person is asked before many
};
using LineCompleter = std::function<Completion(std::string_view line)>;

using LineCheck = std::function<bool(std::string_view line)>;

// Lines that may be remembered go into the history, which is a file. eachSecond: called about so
// often while a person has not typed anything.
std::unique_ptr<LineReader> makeLineReader(LineCompleter completer, LineCheck mayBeRemembered,
                                           std::function<void()> eachSecond);

}  // namespace quillon::cli
