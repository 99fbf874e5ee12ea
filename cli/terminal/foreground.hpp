// Programs that run in our place at the terminal: editors, and commands under a lock.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/result.hpp"

namespace quillon::cli {

// Its exit code, or as shells have it: 127 for a program that is not there, 126 for one that cannot
// be run, 128 and the signal that ended it. As long as it runs the keyboard's signals are its own;
// any other that would end us ends it, by a SIGTERM. It inherits that one descriptor beside the
// standard streams.
int runForeground(const std::vector<std::string>& words, int inherited,
                  const std::function<void()>& eachSecond,
                  const std::vector<std::string>& moreEnvironment = {});

// The words that start the person's editor on a file: $VISUAL, else $EDITOR, else what is there.
// Both may hold options and quotes, as shells read them.
std::vector<std::string> editorWords(const std::string& file);

}  // namespace quillon::cli
