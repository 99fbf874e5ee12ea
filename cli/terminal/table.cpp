#include "cli/terminal/table.hpp"

#include <algorithm>

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {

void Table::addCell(std::string_view cell) {
    size_t& width = widths_[cellLengths_.size() % columns_.size()];
    width = std::max(width, displayWidth(cell));
    cells_ += cell;
    cellLengths_.push_back(static_cast<uint32_t>(cell.size()));
}

template <class EndLine>
void Table::compose(std::string& text, EndLine&& endLine) const {
    std::string_view left = cells_;
    for (size_t i = 0; i < cellLengths_.size(); ++i) {
        const auto cell = left.substr(0, cellLengths_[i]);
        left.remove_prefix(cell.size());
        const size_t column = i % columns_.size();
        const bool last = column + 1 == columns_.size();
        const size_t gap = widths_[column] - displayWidth(cell);
        if (columns_[column] == Align::right) text.append(gap, ' ');
        text += cell;
        if (columns_[column] == Align::left && !last) text.append(gap, ' ');
        text += last ? "\n" : "  ";
        if (last) endLine();
    }
}

std::string Table::text() const {
    std::string text;
    compose(text, [] {});
    return text;
}

void Table::print() const {
    LineOutput output;
    compose(output.text(), [&] { output.endLine(); });
}

std::string inColumns(const std::vector<std::string>& names, size_t width,
                      const std::function<std::string(size_t)>& paint) {
    size_t widest = 0;
    for (const std::string& name : names) widest = std::max(widest, displayWidth(name));
    const size_t columns = std::max<size_t>(1, (width + 2) / (widest + 2));
    const size_t lines = (names.size() + columns - 1) / columns;
    std::string text;
    for (size_t line = 0; line < lines; ++line) {
        for (size_t at = line; at < names.size(); at += lines) {
            text += paint ? paint(at) : names[at];
            const bool last = at + lines >= names.size();
            text += last ? "\n" : std::string(widest - displayWidth(names[at]) + 2, ' ');
        }
    }
    return text;
}

}  // namespace quillon::cli
