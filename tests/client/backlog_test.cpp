// More than one can run at a time, or can wait, and each is over at once or after a turn of the
// loop.
#include "client/remote/backlog.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace quillon {
namespace {

struct NextTurn {
    Loop& loop;
    bool await_ready() const { return false; }
    void await_suspend(std::coroutine_handle<> task) const { loop.post(task); }
    void await_resume() const {}
};

Task<> addAll(Backlog<int>& backlog, int count) {
    for (int i = 0; i < count; ++i) co_await backlog.add(i);
    co_await backlog.finish();
}

TEST(Backlog, takesEachOnceInTheirOrderHoweverLongItTakes) {
    for (const int period :
         {1, 2, 1'000'000}) {  // so many are over at once between those that wait
        Loop loop([] { return false; });
        std::vector<int> begun;
        size_t under = 0, most = 0;
        Backlog<int> backlog(loop, [&](int n) -> Task<> {
            begun.push_back(n);
            most = std::max(most, ++under);
            if (n % period == 0) co_await NextTurn{loop};
            --under;
        });
        loop.run(addAll(backlog, 3'000));
        ASSERT_EQ(begun.size(), 3'000u);
        EXPECT_TRUE(std::is_sorted(begun.begin(), begun.end()));
        EXPECT_LE(most, 96u);
    }
}

}  // namespace
}  // namespace quillon
