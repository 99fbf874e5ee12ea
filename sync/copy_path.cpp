#include "sync/copy_path.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <climits>
#include <ctime>
#include <string_view>

namespace quillon::sync {
namespace {

constexpr size_t mostExtensionBytes = 32;

// With its dot; empty: the name has none. The date in the name of a copy ends in no extension.
std::string_view extensionOf(std::string_view name) {
    const size_t dot = name.rfind('.');
    if (dot == name.npos || dot == 0) return {};
    const std::string_view extension = name.substr(dot);
    const bool isOne = extension.size() <= mostExtensionBytes &&
                       extension.find_first_of(" ()[]{}") == extension.npos;
    return isOne ? extension : std::string_view();
}

// In front of a character.
std::string_view cutBehind(std::string_view text, size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
    return text.substr(0, most);
}

}  // namespace

std::string copyPathOf(const std::string& path, Time when, int number) {
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const std::string_view extension = extensionOf(name);
    const time_t seconds = std::chrono::system_clock::to_time_t(when);
    struct tm parts {};
    localtime_r(&seconds, &parts);
    const std::string again = number > 1 ? fmt::format(", {}", number) : "";
    const std::string end =
        fmt::format(" (theirs, {:%Y-%m-%d %H.%M}{}){}", parts, again, extension);
    const std::string_view stem = name.substr(0, name.size() - extension.size());
    return fmt::format("{}{}{}", std::string_view(path).substr(0, path.size() - name.size()),
                       cutBehind(stem, NAME_MAX - end.size()), end);
}

}  // namespace quillon::sync
