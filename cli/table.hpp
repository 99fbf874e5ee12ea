// Columns aligned by what a terminal shows.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace quillon::cli {

enum class Align : bool { left, right };

class Table {
public:
    explicit Table(std::vector<Align> columns) : columns_(std::move(columns)) {}
    void add(std::vector<std::string> row);  // a cell for each column
    // A line each, columns two blanks apart, no blanks at a line's end.
    std::string text() const;

private:
    std::vector<Align> columns_;
    std::vector<std::vector<std::string>> rows_;
};

// Names down columns that are as wide as the widest of them, as many as fit the width.
std::string inColumns(const std::vector<std::string>& names, size_t width);

}  // namespace quillon::cli
