// What was chosen for a tree and waits for its turn: much more than is under way at a time, so that
// who shows what is left knows it early.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <utility>

#include "client/remote/loop.hpp"

namespace quillon {

template <class Item>
class Backlog {
public:
    Backlog(Loop& loop, std::function<Task<>(Item)> take)
        : take_(std::move(take)), room_(loop, mostWaiting), tasks_(loop) {}

    // Waits for room where it is full.
    Task<> add(Item item) {
        Gate::Pass room = co_await room_.enter();
        waiting_.push_back({std::move(item), std::move(room)});
        beginNext();
    }

    // Until none is left. Throws what the first of them threw.
    auto finish() { return tasks_.finish(); }

private:
    static constexpr size_t mostAtOnce = 96;  // more than the widest window lets through
    static constexpr size_t mostWaiting = 1 << 14;

    struct Waiting {
        Item item;
        Gate::Pass room;
    };

    void beginNext() {
        // One that is over before it had to wait comes back here: the stack does not grow with it.
        if (std::exchange(isBeginning_, true)) return;
        while (running_ < mostAtOnce && !waiting_.empty()) {
            Item next = std::move(waiting_.front().item);
            waiting_.pop_front();
            ++running_;
            tasks_.spawn(run(std::move(next)));
        }
        isBeginning_ = false;
    }

    // The next one begins before this one is over, so that they are never none meanwhile.
    Task<> run(Item item) {
        co_await take_(std::move(item));
        --running_;
        beginNext();
    }

    std::function<Task<>(Item)> take_;
    Gate room_;
    std::deque<Waiting> waiting_;
    size_t running_ = 0;
    bool isBeginning_ = false;
    TaskGroup tasks_;  // last, for they use the others
};

}  // namespace quillon
