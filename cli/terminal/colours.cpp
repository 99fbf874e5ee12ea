#include "cli/terminal/colours.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

bool isColour(std::string_view text) {
    return text.find_first_not_of("0123456789;") == text.npos;
}

bool outputHasColours() {
    const char* const none = std::getenv("NO_COLOR");
    const char* const kind = std::getenv("TERM");
    const bool refused = none != nullptr && *none != '\0';
    return isTerminal(stdout) && !refused && kind != nullptr && std::string_view(kind) != "dumb";
}

}  // namespace

NameColours NameColours::ofOutput() {
    if (!outputHasColours()) return {};
    const char* const colours = std::getenv("LS_COLORS");
    return parse(colours == nullptr ? "di=01;34" : colours);
}

NameColours NameColours::parse(std::string_view text) {
    NameColours colours;
    while (!text.empty()) {
        const std::string_view entry = text.substr(0, text.find(':'));
        text.remove_prefix(std::min(entry.size() + 1, text.size()));
        const size_t equals = entry.rfind('=');
        if (equals == entry.npos || !isColour(entry.substr(equals + 1))) continue;
        const std::string_view type = entry.substr(0, equals);
        const std::string colour(entry.substr(equals + 1));
        if (type == "di") colours.collections_ = colour;
        if (type == "fi") colours.files_ = colour;
        if (type.starts_with('*')) colours.byEnds_.emplace_back(type.substr(1), colour);
    }
    std::ranges::reverse(colours.byEnds_);
    return colours;
}

std::string NameColours::painted(const std::string& text, std::string_view name,
                                 bool isCollection) const {
    std::string_view colour = isCollection ? collections_ : files_;
    if (!isCollection) {
        const auto its = std::ranges::find_if(
            byEnds_, [&](const auto& each) { return name.ends_with(each.first); });
        if (its != byEnds_.end()) colour = its->second;
    }
    return colour.empty() ? text : fmt::format("\x1B[{}m{}\x1B[0m", colour, text);
}

}  // namespace quillon::cli
