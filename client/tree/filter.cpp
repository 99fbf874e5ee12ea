#include "client/tree/filter.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/outcome.hpp"
#include "platform/files/content.hpp"

namespace quillon {
namespace {

constexpr size_t mostBytes = size_t{16} << 20;  // of a file of patterns

// Calls take with what stands between slashes.
template <class View, class Take>
void splitPath(View path, Take take) {
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        take(path.substr(begin, end - begin));
        begin = end + 1;
    }
}

// Blanks at a line's end do not count, but behind a "\".
std::string_view trimEnd(std::string_view line) {
    while (line.ends_with(' ') || line.ends_with('\t') || line.ends_with('\r')) {
        if (line.size() > 1 && line[line.size() - 2] == '\\') break;
        line.remove_suffix(1);
    }
    return line;
}

}  // namespace

bool Filter::Rule::matches(std::span<const std::u32string_view> path) const {
    return matchesSequence(
        segments, path, [](const auto& segment) { return !segment; },
        [](const auto& segment, std::u32string_view name) { return segment->matches(name); });
}

Result<void> Filter::exclude(std::string_view pattern) {
    excludes_ = true;
    return add(pattern, false);
}

Result<void> Filter::include(std::string_view pattern) {
    return add(pattern, true);
}

Result<void> Filter::add(std::string_view pattern, bool includes) {
    const std::string_view shown = pattern;
    Rule rule{includes};
    while (pattern.ends_with('/')) {
        rule.collectionsOnly = true;
        pattern.remove_suffix(1);
    }
    if (pattern.find('/') == pattern.npos) rule.segments.emplace_back();
    bool leavesTree = false;
    Result<void> parsed;
    splitPath(pattern, [&](std::string_view segment) {
        if (segment.empty() || segment == ".") return;
        leavesTree = leavesTree || segment == "..";
        if (segment == "**") return static_cast<void>(rule.segments.emplace_back());
        Result<NamePattern> name = NamePattern::parse(segment);
        if (name) {
            rule.segments.emplace_back(*std::move(name));
        } else if (parsed) {
            parsed = std::move(name).error();
        }
    });
    if (!parsed) return parsed;
    const bool isEmpty = pattern.find_first_not_of("./") == pattern.npos;
    if (isEmpty || leavesTree) {
        return localError(Kind::usage, fmt::format("The pattern \"{}\" names nothing in the tree. "
                                                   "Write it as seen from the tree's root.",
                                                   shown));
    }
    // What is in it, and not it itself.
    if (!rule.segments.back()) rule.segments.push_back(*NamePattern::parse("*"));
    rules_.push_back(std::move(rule));
    return {};
}

Result<void> Filter::addLine(std::string_view line) {
    line = trimEnd(line);
    if (line.empty() || line.starts_with('#')) return {};
    const bool includes = line.starts_with('!');
    if (includes) line.remove_prefix(1);
    return add(line, includes);
}

Result<void> Filter::excludeFrom(const std::filesystem::path& file) {
    const Result<std::string> text = caught([&]() -> Result<std::string> {
        return vxhost::readWhole(vxhost::openForReading(file), file, mostBytes);
    });
    if (!text) return text.error();
    return excludeLines(*text, file.string());
}

Result<void> Filter::excludeLines(std::string_view text, std::string_view shown) {
    excludes_ = true;
    std::string_view rest = text;
    for (size_t number = 1; !rest.empty(); ++number) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        if (Result<void> added = addLine(rest.substr(0, end)); !added) {
            return localError(Kind::usage, fmt::format("{}, line {}: {}", shown, number,
                                                       added.error().sentences.front()));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return {};
}

const Filter::Rule* Filter::lastMatch(std::span<const std::u32string_view> path,
                                      bool isCollection) const {
    const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), [&](const Rule& each) {
        return (isCollection || !each.collectionsOnly) && each.matches(path);
    });
    return rule == rules_.rend() ? nullptr : &*rule;
}

bool Filter::takes(std::string_view path, bool isCollection) const {
    if (rules_.empty()) return true;
    const std::u32string characters = charactersOf(path);
    std::vector<std::u32string_view> segments;
    splitPath(std::u32string_view(characters),
              [&](std::u32string_view segment) { segments.push_back(segment); });
    const std::span<const std::u32string_view> whole(segments);
    bool isInIncluded = false;
    for (size_t length = 1; length < whole.size(); ++length) {
        const Rule* rule = lastMatch(whole.first(length), true);
        if (rule != nullptr && !rule->includes) return false;
        isInIncluded = isInIncluded || rule != nullptr;
    }
    const Rule* rule = lastMatch(whole, isCollection);
    if (rule != nullptr) return rule->includes;
    return isCollection || isInIncluded || excludes_;
}

}  // namespace quillon
