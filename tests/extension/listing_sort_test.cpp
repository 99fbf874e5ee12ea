#include "vxext/src/listing_sort.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Chain = std::vector<vx::FileInfo>;

std::vector<const vx::FileInfo*> walk(const vx::FileInfo* chain) {
    std::vector<const vx::FileInfo*> order;
    for (; chain; chain = chain->next) order.push_back(chain);
    return order;
}

vx::FileInfo* link(Chain& infos) {
    for (size_t i = 0; i + 1 < infos.size(); ++i) infos[i].next = &infos[i + 1];
    return infos.empty() ? nullptr : infos.data();
}

Chain named(const std::vector<std::u32string>& names) {
    Chain infos(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        infos[i].name = names[i].empty() ? nullptr : names[i].data();
        infos[i].nameLength = names[i].size();
    }
    return infos;
}

// The order by its definition: each record goes before the first one that is greater in memory, or
// a beginning of it.
std::vector<const vx::FileInfo*> inserted(const Chain& infos) {
    std::vector<const vx::FileInfo*> order;
    for (const vx::FileInfo& fresh : infos) {
        auto place = order.begin();
        for (; place != order.end(); ++place) {
            const vx::FileInfo& kept = **place;
            const size_t common = size_t(std::min(kept.nameLength, fresh.nameLength));
            const int order4 = common ? std::memcmp(kept.name, fresh.name, common * 4) : 0;
            if (order4 > 0 || (order4 == 0 && fresh.nameLength > kept.nameLength)) break;
        }
        order.insert(place, &fresh);
    }
    return order;
}

TEST(ListingSort, is_the_order_of_insertion) {
    std::mt19937 random{4918};
    const std::u32string alphabet = U"ab\x100\x161\x10061";  // bytes decide, not code points
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::u32string> names(random() % 40);
        for (std::u32string& name : names)
            for (size_t i = random() % 5; i > 0; --i)
                name += alphabet[random() % (round % 2 ? 2 : alphabet.size())];
        Chain infos = named(names);
        const auto expected = inserted(infos);
        ASSERT_EQ(walk(vx::squillonSortByName(link(infos))), expected) << "round " << round;
    }
}

TEST(ListingSort, takes_chains_of_any_length) {
    for (size_t length : {0u, 1u, 2u, 3u, 4u, 5u, 255u, 256u, 257u, 1000u}) {
        std::vector<std::u32string> falling(length);
        for (size_t i = 0; i < length; ++i) falling[i].assign(1, char32_t(U'a' + (length - i) % 7));
        Chain infos = named(falling);
        EXPECT_EQ(walk(vx::squillonSortByName(link(infos))), inserted(infos)) << length;
    }
}

}  // namespace
