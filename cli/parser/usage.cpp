#include "cli/parser/usage.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

namespace quillon::cli {
namespace {

// Lines as long as they may be; a word that is longer keeps one to itself.
std::string wrapped(const std::string& text, size_t columns) {
    std::string result;
    size_t lineStart = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const bool fits = result.size() - lineStart + 1 + (end - at) <= columns;
        if (at > 0) result += fits ? ' ' : '\n';
        if (at > 0 && !fits) lineStart = result.size();
        result.append(text, at, end - at);
        at = end + 1;
    }
    return result;
}

// A paragraph that has indented lines keeps its lines.
std::string wrappedParagraph(std::string paragraph, size_t columns) {
    if (paragraph.find("\n ") != paragraph.npos || paragraph.starts_with(' ')) return paragraph;
    std::ranges::replace(paragraph, '\n', ' ');
    return wrapped(paragraph, columns);
}

std::string wrappedParagraphs(std::string_view text, size_t columns) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    std::string result;
    while (!text.empty()) {
        const size_t end = std::min(text.find("\n\n"), text.size());
        result += wrappedParagraph(std::string(text.substr(0, end)), columns) + '\n';
        text.remove_prefix(std::min(text.find_first_not_of('\n', end), text.size()));
        if (!text.empty()) result += '\n';
    }
    return result;
}

class Usage : public CLI::Formatter {
public:
    explicit Usage(size_t columns)
        : columns_(columns),
          forMeaning_(std::max(columns, get_column_width() + leastForMeaning) -
                      get_column_width()) {}

private:
    static constexpr size_t leastForMeaning = 30;  // columns

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(meaningOf(*option), forMeaning_);
    }

    // The meaning tells what the library does in a form of its own.
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string all = CLI::Formatter::make_option_opts(option);
        return all.substr(0, all.find(" Excludes:"));
    }

    std::string make_footer(const CLI::App* app) const override {
        return wrappedParagraphs(app->get_footer(), columns_);
    }

    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream line;
        CLI::detail::format_help(line, command->get_name(),
                                 wrapped(command->get_description(), forMeaning_),
                                 get_column_width());
        return line.str();
    }

    // An operand whose name has dots gets no more.
    std::string make_option_usage(const CLI::Option* operand) const override {
        const bool dotted = operand->get_name().find("...") != std::string::npos;
        return dotted ? operand->get_name() : CLI::Formatter::make_option_usage(operand);
    }

    const size_t columns_, forMeaning_;
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> makeUsage(size_t columns) {
    return std::make_shared<Usage>(columns);
}

std::string meaningOf(const CLI::Option& option) {
    std::vector<std::string> others;
    for (const CLI::Option* other : option.get_excludes()) others.push_back(other->get_name());
    if (others.empty()) return option.get_description();
    std::ranges::sort(others);  // else they come in the order of their addresses
    return fmt::format("{} (not with {})", option.get_description(), fmt::join(others, " or "));
}

}  // namespace quillon::cli
