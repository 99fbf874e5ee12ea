// What runs the tasks of one thread: those that can go on, in their turn, and where none can, what
// they all wait for.
#pragma once

#include <coroutine>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <stdexcept>
#include <utility>

#include "client/remote/task.hpp"

namespace quillon {

class Loop {
public:
    // advance: waits until something has happened that a task waited for, which it then resumes or
    // posts; false when there is nothing to wait for.
    explicit Loop(std::function<bool()> advance) : advance_(std::move(advance)) {}

    // To be resumed in its turn, and not by who posts it, whose stack would grow.
    void post(std::coroutine_handle<> task) { ready_.push_back(task); }
    bool hasReady() const { return !ready_.empty(); }  // tasks that can go on

    // Runs the task to its end, and all others meanwhile.
    template <class T>
    T run(Task<T> task) {
        task.start();
        while (!task.isDone()) step();
        return task.take();
    }

private:
    void step() {
        if (ready_.empty()) {
            if (!advance_()) throw std::logic_error("tasks wait for each other");
            return;
        }
        const auto next = ready_.front();
        ready_.pop_front();
        next.resume();
    }

    std::function<bool()> advance_;
    std::deque<std::coroutine_handle<>> ready_;
};

// Lets so many tasks through at a time; the others wait in their order.
class Gate {
public:
    Gate(Loop& loop, size_t width) : loop_(loop), width_(width) {}
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    // Of a task that is within. It leaves at the end of the scope.
    class Pass {
    public:
        explicit Pass(Gate* gate) : gate_(gate) {}
        Pass(Pass&& other) noexcept : gate_(std::exchange(other.gate_, nullptr)) {}
        Pass& operator=(Pass&& other) noexcept {
            std::swap(gate_, other.gate_);
            return *this;
        }
        ~Pass() {
            if (gate_) gate_->leave();
        }

    private:
        Gate* gate_;
    };

    auto enter() {
        struct Entering {
            Gate& gate;
            bool await_ready() const {
                if (gate.within_ >= gate.width_ || !gate.waiting_.empty()) return false;
                ++gate.within_;
                return true;
            }
            void await_suspend(std::coroutine_handle<> task) { gate.waiting_.push_back(task); }
            Pass await_resume() { return Pass(&gate); }
        };
        return Entering{*this};
    }

    void setWidth(size_t width) {
        width_ = width;
        letIn();
    }
    size_t within() const { return within_; }

private:
    void leave() {
        --within_;
        letIn();
    }
    void letIn() {
        while (within_ < width_ && !waiting_.empty()) {
            ++within_;
            loop_.post(waiting_.front());
            waiting_.pop_front();
        }
    }

    Loop& loop_;
    size_t width_;
    size_t within_ = 0;
    std::deque<std::coroutine_handle<>> waiting_;
};

// Tasks beside the one that has the group, which waits for all of them before it goes.
class TaskGroup {
public:
    explicit TaskGroup(Loop& loop) : loop_(loop) {}
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    // Begins it at once, up to where it waits.
    void spawn(Task<> task) {
        const auto place = running_.insert(running_.end(), watch(*this, std::move(task)));
        place->start();
        removeDone();
    }

    // Until none runs. Throws what the first of them threw.
    auto finish() {
        struct Finishing {
            TaskGroup& group;
            bool await_ready() const { return group.alive_ == 0; }
            void await_suspend(std::coroutine_handle<> task) { group.awaiting_ = task; }
            void await_resume() {
                group.awaiting_ = nullptr;
                group.removeDone();
                if (group.thrown_) std::rethrow_exception(std::exchange(group.thrown_, nullptr));
            }
        };
        return Finishing{*this};
    }

private:
    static Task<> watch(TaskGroup& group, Task<> task) {
        ++group.alive_;
        try {
            co_await task;
        } catch (...) {
            if (!group.thrown_) group.thrown_ = std::current_exception();
        }
        if (--group.alive_ == 0 && group.awaiting_) group.loop_.post(group.awaiting_);
    }
    // Those that have ended are at final suspension, where they may be destroyed.
    void removeDone() {
        if (running_.size() < 2 * alive_ + 16) return;
        running_.remove_if([](const Task<>& task) { return task.isDone(); });
    }

    Loop& loop_;
    std::list<Task<>> running_;
    size_t alive_ = 0;
    std::coroutine_handle<> awaiting_;
    std::exception_ptr thrown_;
};

// For who is no task.
inline Task<> finishAll(TaskGroup& group) {
    co_await group.finish();
}

}  // namespace quillon
