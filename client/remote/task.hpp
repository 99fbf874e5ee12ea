// Coroutines of one thread: what a task does between two answers of a server, written as one text.
// A task begins when it is awaited, and is destroyed by who has it. Arguments are taken by value,
// since a task outlives the expression that made it; what is made from braces is named before it is
// awaited or handed in, for GCC 12 destroys such a temporary twice.
#pragma once

#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

namespace quillon {

namespace detail {

// Its end resumes who awaits it.
struct PromiseBase {
    std::coroutine_handle<> awaiting;
    std::exception_ptr thrown;

    struct Final {
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) noexcept {
            const auto next = ended.promise().awaiting;
            return next ? next : std::noop_coroutine();
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() noexcept { return {}; }
    Final final_suspend() noexcept { return {}; }
    void unhandled_exception() noexcept { thrown = std::current_exception(); }
};

template <class T>
struct Promise : PromiseBase {
    std::optional<T> value;
    template <class From>
    void return_value(From&& from) {
        value.emplace(std::forward<From>(from));
    }
    T take() {
        if (thrown) std::rethrow_exception(thrown);
        return std::move(*value);
    }
};

template <>
struct Promise<void> : PromiseBase {
    void return_void() noexcept {}
    void take() const {
        if (thrown) std::rethrow_exception(thrown);
    }
};

}  // namespace detail

template <class T = void>
class [[nodiscard]] Task {
public:
    struct promise_type : detail::Promise<T> {
        Task get_return_object() { return Task(Handle::from_promise(*this)); }
    };

    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Task() {
        if (handle_) handle_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        handle_.promise().awaiting = awaiting;
        return handle_;
    }
    T await_resume() { return handle_.promise().take(); }

    // For who awaits nothing, as a loop.
    void start() { handle_.resume(); }
    bool isDone() const { return handle_.done(); }
    T take() { return handle_.promise().take(); }

private:
    using Handle = std::coroutine_handle<promise_type>;
    explicit Task(Handle handle) : handle_(handle) {}
    Handle handle_;
};

}  // namespace quillon
