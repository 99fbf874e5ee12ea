#include "cli/terminal/suggestion.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace quillon::cli {
namespace {

constexpr size_t mostTokenBytes = 1024;  // a command is to be pasted, not scrolled through

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool allOf(std::string_view text, std::string_view signs) {
    return std::ranges::all_of(text, [signs](char c) {
        return isAlphanumeric(c) || signs.find(c) != std::string_view::npos;
    });
}

}  // namespace

std::string shellWord(std::string_view text) {
    if (!text.empty() && allOf(text, "_@%+=:,./-")) return std::string(text);
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    return word + "'";
}

bool tokenShowable(std::string_view token) {
    return !token.empty() && token.size() <= mostTokenBytes && isAlphanumeric(token.front()) &&
           allOf(token, "-._~:/?#[]@!$&'()*+,;=%");
}

bool isLockToken(std::string_view text) {
    if (!tokenShowable(text)) return false;
    const size_t scheme = text.find(':');
    if (scheme != text.npos) return scheme > 0 && scheme + 1 < text.size();
    return text.find_first_of("0123456789") != text.npos &&
           text.find_first_not_of("0123456789abcdefABCDEF-") == text.npos;
}

std::string unlockAdvice(std::string_view occasion, std::string_view url, std::string_view token) {
    if (!tokenShowable(token)) {
        return "Its token cannot be shown, so it stays until it runs out or the server's "
               "administrator takes it off.";
    }
    return fmt::format("{}: quillon unlock {} --token {}", occasion, shellWord(url),
                       shellWord(token));
}

}  // namespace quillon::cli
