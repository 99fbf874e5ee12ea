// Columns aligned by what a terminal shows.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillon::cli {

enum class Align : bool { left, right };

class Table {
public:
    explicit Table(std::vector<Align> columns)
        : columns_(std::move(columns)), widths_(columns_.size()) {}
    // A row: a cell for each column.
    template <std::convertible_to<std::string_view>... Cells>
    void add(const Cells&... cells) {
        (addCell(cells), ...);
    }
    // A line each, columns two blanks apart, no blanks at a line's end.
    std::string text() const;
    void print() const;  // the same to standard output

private:
    void addCell(std::string_view cell);
    template <class EndLine>
    void compose(std::string& text, EndLine&& endLine) const;

    std::vector<Align> columns_;
    std::vector<size_t> widths_;         // of the columns
    std::string cells_;                  // row after row, all in one: a listing has millions
    std::vector<uint32_t> cellLengths_;  // bytes
};

// Names down columns that are as wide as the widest of them, as many as fit the width.
// paint: what is written in place of the n-th, as wide as that.
std::string inColumns(const std::vector<std::string>& names, size_t width,
                      const std::function<std::string(size_t)>& paint = {});

}  // namespace quillon::cli
