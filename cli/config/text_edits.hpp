// Replacements in a text, collected by the positions that the TOML parser tells and done together.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace toml {
inline namespace v3 {
struct source_position;
}
}  // namespace toml

namespace quillon::cli {

class TextEdits {
public:
    explicit TextEdits(std::string_view text);

    size_t offset(const toml::source_position& position) const;  // in bytes
    size_t lineStart(size_t offset) const;
    size_t lineEnd(size_t offset) const;  // behind its line break
    std::string_view text() const { return text_; }
    std::string_view lineBreak() const;  // as the text has them

    void replace(size_t begin, size_t end, std::string with);
    // Takes out the whole lines of a statement, but leaves a comment that stands behind it.
    void removeLines(size_t begin, size_t end);

    std::string result() const;  // edits must not overlap; an overlap is dropped

private:
    struct Edit {
        size_t begin;
        size_t end;
        std::string with;
    };
    std::string_view text_;
    std::vector<size_t> lines_;  // where each starts
    std::vector<Edit> edits_;
};

}  // namespace quillon::cli
