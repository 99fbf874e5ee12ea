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

}  // namespace quillon::cli
