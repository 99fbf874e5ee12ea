#include "sync/plan_rows.hpp"

#include <algorithm>

namespace quillon::sync {

namespace {

std::string_view parentPath(std::string_view path) {
    const size_t end = path.rfind('/');
    return end == std::string_view::npos ? std::string_view{} : path.substr(0, end);
}

}  // namespace

std::vector<PlanRow> mergeTrees(const Trees& trees) {
    std::vector<PlanRow> rows;
    rows.reserve(std::max({trees.base.size(), trees.here.size(), trees.there.size()}));
    auto base = trees.base.begin();
    auto here = trees.here.begin();
    auto there = trees.there.begin();
    for (;;) {
        const std::string* path = nullptr;
        const auto least = [&path](const auto& at, const auto& tree) {
            if (at != tree.end() && (!path || at->first < *path)) path = &at->first;
        };
        least(base, trees.base);
        least(here, trees.here);
        least(there, trees.there);
        if (!path) return rows;
        PlanRow row{.path = path};
        const auto take = [path](auto& at, const auto& tree, auto& node) {
            if (at != tree.end() && at->first == *path) node = &(at++)->second;
        };
        take(base, trees.base, row.base);
        take(here, trees.here, row.here);
        take(there, trees.there, row.there);
        row.parent = findRow(rows, parentPath(*path), rows.empty() ? noRow : rows.back().parent);
        rows.push_back(row);
    }
}

size_t findRow(const std::vector<PlanRow>& rows, std::string_view path, size_t guess) {
    if (path.empty()) return noRow;
    if (guess != noRow && *rows[guess].path == path) return guess;
    const auto at = std::ranges::lower_bound(
        rows, path, {}, [](const PlanRow& row) { return std::string_view(*row.path); });
    if (at == rows.end() || *at->path != path) return noRow;
    return static_cast<size_t>(at - rows.begin());
}

}  // namespace quillon::sync
