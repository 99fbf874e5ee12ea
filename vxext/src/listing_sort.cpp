#include "vxext/src/listing_sort.hpp"

#include <cstring>

namespace vx {
namespace {

// Memory order with an end that is greater than any byte: a strict weak order.
bool before(const FileInfo* left, const FileInfo* right) {
    const bool longer = left->nameLength > right->nameLength;
    const uint64_t common = longer ? right->nameLength : left->nameLength;
    const int order =
        common == 0 ? 0 : std::memcmp(left->name, right->name, common * sizeof(char32_t));
    return order < 0 || (order == 0 && longer);
}

// Cuts the longest sorted beginning off a chain that is not empty.
FileInfo* takeRun(FileInfo*& chain) {
    FileInfo* run = chain;
    FileInfo* last = run;
    while (last->next && !before(last->next, last)) last = last->next;
    chain = last->next;
    last->next = nullptr;
    return run;
}

// The members lie scattered over the document: a fetch that waits for each would double the time.
void fetchAhead(const FileInfo* info) {
    if (!info || !info->next) return;
    __builtin_prefetch(info->next->next);
    __builtin_prefetch(info->next->name);
}

// Of equal members those of the earlier chain come first.
FileInfo* merge(FileInfo* earlier, FileInfo* later) {
    FileInfo* merged = nullptr;
    FileInfo** end = &merged;
    while (earlier && later) {
        FileInfo*& smaller = before(later, earlier) ? later : earlier;
        *end = smaller;
        end = &smaller->next;
        smaller = smaller->next;
        fetchAhead(smaller);
    }
    *end = earlier ? earlier : later;
    return merged;
}

}  // namespace

FileInfo* squillonSortByName(FileInfo* chain) {
    // sorted[i] is empty or holds 2^i runs, all of them earlier than those of sorted[i - 1].
    constexpr int levels = 64;
    FileInfo* sorted[levels] = {};
    while (chain) {
        FileInfo* carry = takeRun(chain);
        int level = 0;
        for (; sorted[level]; ++level) {
            carry = merge(sorted[level], carry);
            sorted[level] = nullptr;
        }
        sorted[level] = carry;
    }
    FileInfo* all = nullptr;
    for (FileInfo* part : sorted) all = merge(part, all);
    return all;
}

}  // namespace vx
