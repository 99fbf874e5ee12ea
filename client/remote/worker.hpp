// A thread beside the one that has a loop: what waits for the disk there keeps no request waiting.
#pragma once

#include <condition_variable>
#include <coroutine>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "client/remote/loop.hpp"

namespace quillon {

class Worker {
public:
    // The loop outlives it.
    explicit Worker(Loop& loop) : loop_(loop) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    // Waits for what it is doing; what else waits for it is not done any more.
    ~Worker() = default;

    // Does one piece of work after another, in their order. To be awaited: the task goes on in its
    // loop, and gets what the work threw. What the work refers to is nobody else's until then.
    // Where the system allows no more threads the task does the work itself.
    auto run(std::function<void()> work) { return Working{*this, std::move(work)}; }

private:
    struct Working {
        Worker& worker;
        std::function<void()> work;
        std::coroutine_handle<> task{};
        std::exception_ptr thrown{};
        bool isDoneElsewhere = false;

        bool await_ready() const { return false; }
        bool await_suspend(std::coroutine_handle<> awaiting) {
            task = awaiting;
            if (!worker.hasThread()) return false;
            isDoneElsewhere = true;
            worker.add(*this);
            return true;
        }
        void await_resume() const {
            if (!isDoneElsewhere) work();
            if (thrown) std::rethrow_exception(thrown);
        }
    };

    bool hasThread();
    void add(Working& working);
    void workUntil(const std::stop_token& stopped);

    Loop& loop_;
    std::mutex mutex_;
    std::condition_variable_any hasWork_;
    std::vector<Working*> waiting_;  // each in its task's frame
    std::jthread thread_;            // last, for it uses the others; begins with the first work
};

}  // namespace quillon
