#include "client/remote/worker.hpp"

#include <system_error>

namespace quillon {

bool Worker::hasThread() {
    if (thread_.joinable()) return true;
    try {
        thread_ = std::jthread([this](const std::stop_token& stopped) { workUntil(stopped); });
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

// What may fail comes first: a work is announced and waits, or neither.
void Worker::add(Working& working) {
    {
        const std::lock_guard lock(mutex_);
        waiting_.reserve(waiting_.size() + 1);
        loop_.expectFromElsewhere();
        waiting_.push_back(&working);
    }
    hasWork_.notify_one();
}

void Worker::workUntil(const std::stop_token& stopped) {
    for (;;) {
        std::vector<Working*> taken;
        {
            std::unique_lock lock(mutex_);
            hasWork_.wait(lock, stopped, [this] { return !waiting_.empty(); });
            taken.swap(waiting_);
        }
        for (Working* each : taken) {
            if (stopped.stop_requested()) return;
            try {
                each->work();
            } catch (...) {
                each->thrown = std::current_exception();
            }
            loop_.postFromElsewhere(each->task);  // whose frame is the loop's again
        }
        if (stopped.stop_requested()) return;
    }
}

}  // namespace quillon
