// Columns aligned by what a terminal shows.
#pragma once

#include <string>
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

}  // namespace quillon::cli
