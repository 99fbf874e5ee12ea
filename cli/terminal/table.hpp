// Columns aligned by what a terminal shows.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace quillon::cli {

enum class Align : bool { left, right };

class Table {
public:
    explicit Table(std::vector<Align> columns) : columns_(std::move(columns)) {}
    // A row: a cell for each column.
    template <std::convertible_to<std::string>... Cells>
    void add(Cells&&... cells) {
        (cells_.emplace_back(std::forward<Cells>(cells)), ...);
    }
    // A line each, columns two blanks apart, no blanks at a line's end.
    std::string text() const;

private:
    std::vector<Align> columns_;
    std::vector<std::string> cells_;  // row after row
};

// Names down columns that are as wide as the widest of them, as many as fit the width.
std::string inColumns(const std::vector<std::string>& names, size_t width);

}  // namespace quillon::cli
