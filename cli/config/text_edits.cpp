#include "cli/config/text_edits.hpp"

#include <algorithm>
#include <utility>

#include "cli/config/toml.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";  // the parser does not count it

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

TextEdits::TextEdits(std::string_view text) : text_(text) {
    lines_.push_back(text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0);
    for (size_t at = 0; (at = text.find('\n', at)) != std::string_view::npos;) {
        lines_.push_back(++at);
    }
}

size_t TextEdits::offset(const toml::source_position& position) const {
    const size_t line = std::clamp<size_t>(position.line, 1, lines_.size()) - 1;
    size_t at = lines_[line];
    for (size_t column = 1; column < position.column && at < text_.size(); ++column) {
        do ++at;
        while (at < text_.size() && continuesCharacter(text_[at]));
    }
    return at;
}

size_t TextEdits::lineStart(size_t offset) const {
    return *std::prev(std::upper_bound(lines_.begin() + 1, lines_.end(), offset));
}

size_t TextEdits::lineEnd(size_t offset) const {
    const auto next = std::upper_bound(lines_.begin(), lines_.end(), offset);
    return next == lines_.end() ? text_.size() : *next;
}

std::string_view TextEdits::lineBreak() const {
    return text_.find("\r\n") == std::string_view::npos ? "\n" : "\r\n";
}

void TextEdits::replace(size_t begin, size_t end, std::string with) {
    edits_.push_back({begin, end, std::move(with)});
}

void TextEdits::removeLines(size_t begin, size_t end) {
    const std::string_view rest = text_.substr(end, lineEnd(end) - end);
    const size_t comment = std::min(rest.find('#'), rest.size());
    replace(lineStart(begin), lineEnd(end), std::string(rest.substr(comment)));
}

std::string TextEdits::result() const {
    std::vector<Edit> ordered = edits_;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
    std::string text;
    size_t done = 0;
    for (const Edit& edit : ordered) {
        if (edit.begin < done) continue;
        text.append(text_.substr(done, edit.begin - done)).append(edit.with);
        done = edit.end;
    }
    return text.append(text_.substr(done));
}

}  // namespace quillon::cli
