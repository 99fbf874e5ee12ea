// What ends a command of ours with us, however we end: a process of its own between the two.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon::cli {

// The first word of a command line that is for keepCommand().
constexpr std::string_view keepWord = "__keep";

// Where such a process has its line to us: it writes there why the command cannot be run, an errno,
// or 0; once the line is closed, the command is to end.
constexpr int keepLine = 3;

// Whether this process was started to keep a command: by our parent, with its line. The word alone
// may have been typed, and what is at that place be anything.
bool hasKeepLine();

// Runs the words, the program first, with our standard streams and in our process group, where it
// may ask on a terminal. Gives its exit code; ends as it does, by SIGKILL, when a signal ended it.
// What it leaves running may go on. When the line is closed all that it started is told to end, and
// is killed if it does not within a second; but for what left the group, such as a daemon.
int keepCommand(const std::vector<std::string>& words);

}  // namespace quillon::cli
