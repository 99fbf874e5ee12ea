#include "cli/parser/nearest.hpp"

#include <algorithm>

namespace quillon::cli {
namespace {

constexpr size_t longest = 64;  // bytes of a word that is worth comparing

// The optimal string alignment distance.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> beforeLast(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + wrong});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast.swap(last);
        last.swap(row);
    }
    return last[b.size()];
}

}  // namespace

std::string nearestWord(std::string_view typed, const std::vector<std::string>& words) {
    if (typed.size() > longest) return {};
    std::string nearest;
    size_t fewest = 3;  // two mistakes are still a slip
    for (const std::string& word : words) {
        const size_t steps = distance(typed, word);
        // Of a word of three letters two are another word.
        if (steps >= fewest || steps * 2 >= std::max(typed.size(), word.size())) continue;
        nearest = word;
        fewest = steps;
    }
    return nearest;
}

}  // namespace quillon::cli
