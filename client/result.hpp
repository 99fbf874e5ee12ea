// A value, or why there is none.
#pragma once

#include <utility>
#include <variant>

#include "client/error.hpp"

namespace quillon {

template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : held_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return held_.index() == 0; }

    // Only when there is a value.
    T& operator*() & { return std::get<0>(held_); }
    const T& operator*() const& { return std::get<0>(held_); }
    T&& operator*() && { return std::get<0>(std::move(held_)); }
    T* operator->() { return &std::get<0>(held_); }
    const T* operator->() const { return &std::get<0>(held_); }

    // Only when there is none.
    const Error& error() const& { return std::get<1>(held_); }
    Error&& error() && { return std::get<1>(std::move(held_)); }

private:
    std::variant<T, Error> held_;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() : held_(std::in_place_index<0>) {}
    Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return held_.index() == 0; }
    const Error& error() const& { return std::get<1>(held_); }
    Error&& error() && { return std::get<1>(std::move(held_)); }

private:
    std::variant<std::monostate, Error> held_;
};

}  // namespace quillon
