// Which paths of a tree count, by patterns as those of a .gitignore file.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/tree/name_pattern.hpp"

namespace quillon {

// The last pattern that matches decides. A pattern with a slash at its beginning or inside is of a
// path from the tree's root, another one of a name anywhere; one with a slash at its end is of
// collections alone; a segment "**" stands for any number of segments. What is in a collection that
// is left out is left out, too.
class Filter {
public:
    // All of them fail with Kind::usage for what is no pattern.
    Result<void> exclude(std::string_view pattern);
    // Where nothing is excluded, only what is included counts, or is in a collection that is.
    Result<void> include(std::string_view pattern);
    // A pattern a line; "#" begins a comment, "!" a pattern of what counts all the same.
    Result<void> excludeFrom(const std::filesystem::path& file);
    Result<void> excludeLines(std::string_view text, std::string_view shown);

    // path: from the root, with "/" between its segments and none at its end. A collection that
    // only leads to what is included counts.
    bool takes(std::string_view path, bool isCollection) const;

private:
    struct Rule {
        bool includes;
        bool collectionsOnly = false;
        std::vector<std::optional<NamePattern>> segments{};  // nothing stands for "**"

        bool matches(std::span<const std::u32string_view> path) const;
    };

    Result<void> add(std::string_view pattern, bool includes);
    Result<void> addLine(std::string_view line);
    const Rule* lastMatch(std::span<const std::u32string_view> path, bool isCollection) const;

    std::vector<Rule> rules_;
    bool excludes_ = false;
};

}  // namespace quillon
