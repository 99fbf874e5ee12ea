#include "cli/table.hpp"

#include <algorithm>

#include "cli/terminal.hpp"

namespace quillon::cli {

void Table::add(std::vector<std::string> row) {
    rows_.push_back(std::move(row));
}

std::string Table::text() const {
    std::vector<size_t> widths(columns_.size(), 0);
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) {
            const std::string gap(widths[i] - displayWidth(row[i]), ' ');
            if (i > 0) text += "  ";
            if (columns_[i] == Align::right) text += gap;
            text += row[i];
            if (columns_[i] == Align::left && i + 1 < row.size()) text += gap;
        }
        text += '\n';
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
