#include "cli/terminal/table.hpp"

#include <algorithm>

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {

std::string Table::text() const {
    const size_t columns = columns_.size();
    std::vector<size_t> widths(columns, 0);
    for (size_t i = 0; i < cells_.size(); ++i) {
        widths[i % columns] = std::max(widths[i % columns], displayWidth(cells_[i]));
    }
    std::string text;
    for (size_t i = 0; i < cells_.size(); ++i) {
        const size_t column = i % columns;
        const bool last = column + 1 == columns;
        const size_t gap = widths[column] - displayWidth(cells_[i]);
        if (columns_[column] == Align::right) text.append(gap, ' ');
        text += cells_[i];
        if (columns_[column] == Align::left && !last) text.append(gap, ' ');
        text += last ? "\n" : "  ";
    }
    return text;
}

std::string inColumns(const std::vector<std::string>& names, size_t width) {
    size_t widest = 0;
    for (const std::string& name : names) widest = std::max(widest, displayWidth(name));
    const size_t columns = std::max<size_t>(1, (width + 2) / (widest + 2));
    const size_t lines = (names.size() + columns - 1) / columns;
    std::string text;
    for (size_t line = 0; line < lines; ++line) {
        for (size_t at = line; at < names.size(); at += lines) {
            text += names[at];
            const bool last = at + lines >= names.size();
            text += last ? "\n" : std::string(widest - displayWidth(names[at]) + 2, ' ');
        }
    }
    return text;
}

}  // namespace quillon::cli
