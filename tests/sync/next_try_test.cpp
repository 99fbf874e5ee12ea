#include "sync/next_try.hpp"

#include <gtest/gtest.h>

namespace quillon::sync {
namespace {

using namespace std::chrono_literals;

TEST(NextTry, waitsLongerEachTimeUpToAnHour) {
    const Time noon{std::chrono::milliseconds(1'764'158'400'123)};
    const struct {
        unsigned times;
        std::chrono::minutes wait;
    } rows[] = {{0, 0min}, {2, 0min}, {3, 1min}, {4, 2min}, {8, 32min}, {9, 60min}, {99, 60min}};
    for (const auto& [times, wait] : rows) {
        const Failed failed{"p", "why", times, nextTry(times, noon)};
        EXPECT_EQ(failed.notBefore - noon, wait) << times;
        EXPECT_EQ(waits(failed, noon), wait > 0min) << times;
        EXPECT_FALSE(waits(failed, noon + wait)) << times;
        EXPECT_FALSE(waits(failed, noon - 1ms)) << "the clock was set back";
        EXPECT_EQ(waits(failed, noon, noon), wait > 0min) << times;
        EXPECT_FALSE(waits(failed, noon, noon + 1ms)) << "it was changed since";
    }
}

}  // namespace
}  // namespace quillon::sync
