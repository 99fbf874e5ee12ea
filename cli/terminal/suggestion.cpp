#include "cli/terminal/suggestion.hpp"

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view PLAIN =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.:/%@,+=";

// A server chose some of it: no character means anything to a shell.
std::string shellWord(std::string_view text) {
    const std::string shown = harmless(text);
    if (!shown.empty() && shown.find_first_not_of(PLAIN) == shown.npos) return shown;
    std::string word = "'";
    for (const char c : shown) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

}  // namespace

std::string unlockCommand(std::string_view url, std::string_view token) {
    return "quillon unlock " + shellWord(url) + " --token " + shellWord(token);
}

}  // namespace quillon::cli
