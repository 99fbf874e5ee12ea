#include "vxext/src/listing_sort.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Names = std::vector<std::u32string>;
using Order = std::vector<const vx::FileInfo*>;

// The order by its definition: each record goes before the first one that is greater in memory, or
// a beginning of it.
Order inserted(const std::vector<vx::FileInfo>& infos) {
    Order order;
    for (const vx::FileInfo& fresh : infos) {
        const auto place = std::find_if(order.begin(), order.end(), [&](const vx::FileInfo* kept) {
            const size_t common = size_t(std::min(kept->nameLength, fresh.nameLength));
            const int difference = common ? std::memcmp(kept->name, fresh.name, common * 4) : 0;
            return difference > 0 || (difference == 0 && fresh.nameLength > kept->nameLength);
        });
        order.insert(place, &fresh);
    }
    return order;
}

void expectSorted(const Names& names) {
    std::vector<vx::FileInfo> infos(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        infos[i].name = names[i].empty() ? nullptr : names[i].data();
        infos[i].nameLength = names[i].size();
        infos[i].next = i + 1 < names.size() ? &infos[i + 1] : nullptr;
    }
    const Order expected = inserted(infos);
    Order order;
    for (auto* info = vx::squillonSortByName(infos.data()); info; info = info->next)
        order.push_back(info);
    ASSERT_EQ(order, expected) << names.size() << " names";
}

TEST(ListingSort, is_the_order_of_insertion) {
    std::mt19937 random{4918};
    const std::u32string alphabet = U"ab\x100\x161\x10061";  // bytes decide, not code points
    for (int round = 0; round < 3000; ++round) {
        Names names(random() % 40);
        for (std::u32string& name : names)
            for (size_t i = random() % 5; i > 0; --i)
                name += alphabet[random() % (round % 2 ? 2 : alphabet.size())];
        expectSorted(names);
    }
    for (size_t length : {255u, 256u, 257u, 1000u}) {
        Names falling(length);
        for (size_t i = 0; i < length; ++i) falling[i].assign(1, char32_t(U'a' + (length - i) % 7));
        expectSorted(falling);
    }
}

}  // namespace
