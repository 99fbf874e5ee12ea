// What a person must know when a second signal ends the program at once.
#pragma once

#include <string>

namespace quillon::cli {

// A line for standard error, as long as the object lives. Threads may make and destroy them at the
// same time.
class LastWords {
public:
    explicit LastWords(std::string line);
    LastWords(const LastWords&) = delete;
    LastWords& operator=(const LastWords&) = delete;
    ~LastWords();

    struct Line;

private:
    Line* line_;
    int place_;  // -1: none was free, and the line will not be written
};

// For a signal handler, at the end of the process; waits for nobody who does not read.
void writeLastWords() noexcept;

}  // namespace quillon::cli
