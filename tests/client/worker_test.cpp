// What a thread beside the loop's does, and how its tasks come back.
#include "client/remote/worker.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

namespace quillon {
namespace {

Task<> workThrice(Worker& worker, std::string& order, std::thread::id mine, char name) {
    for (int turn = 0; turn < 3; ++turn) {
        bool isElsewhere = false;
        const bool fails = name == 'b' && turn == 2;
        co_await worker.run([&] {
            isElsewhere = std::this_thread::get_id() != mine;
            if (fails) throw std::runtime_error("b broke");
        });
        EXPECT_TRUE(isElsewhere && std::this_thread::get_id() == mine);
        order += name;
    }
}

TEST(Worker, givesEachTaskBackToItsLoopInTurnWithWhatItsWorkThrew) {
    std::atomic<int> wakes = 0;
    Loop loop([] { return false; }, [&] { ++wakes; });
    std::string order;
    Worker worker(loop);
    TaskGroup group(loop);
    for (const char name : {'a', 'b', 'c'}) {
        group.spawn(workThrice(worker, order, std::this_thread::get_id(), name));
    }
    EXPECT_THROW(loop.run(finishAll(group)), std::runtime_error);
    EXPECT_EQ(order, "abcabcac");
    EXPECT_GT(wakes, 0);
}

}  // namespace
}  // namespace quillon
