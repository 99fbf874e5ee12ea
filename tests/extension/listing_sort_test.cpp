#include "vxext/src/listing_sort.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

// The name's bytes, with an end that is greater than any; members of one name stay as they lie.
auto place(const vx::FileInfo& info) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(info.name);
    std::vector<unsigned> key(bytes, bytes + info.nameLength * sizeof(char32_t));
    key.push_back(0x100);
    return std::pair(key, &info);
}

TEST(ListingSort, is_stable_in_the_order_of_memory) {
    std::mt19937 random{4918};
    const std::u32string alphabet = U"ab\x100\x161\x10061";  // bytes decide, not code points
    for (size_t round = 0; round < 1000; ++round) {
        std::vector<std::u32string> names(round);
        std::vector<vx::FileInfo> infos(round);
        for (size_t i = 0; i < round; ++i) {
            for (size_t length = random() % 5; length > 0; --length)
                names[i] += alphabet[random() % (round % 2 ? 2 : alphabet.size())];
            infos[i].name = names[i].empty() ? nullptr : names[i].data();
            infos[i].nameLength = names[i].size();
            infos[i].next = i + 1 < round ? &infos[i + 1] : nullptr;
        }
        size_t count = 0;
        for (auto* info = vx::squillonSortByName(infos.data()); info; info = info->next, ++count)
            ASSERT_TRUE(!info->next || place(*info) < place(*info->next)) << round << " names";
        EXPECT_EQ(count, round);
    }
}

}  // namespace
