// The contents of a scratch member: as long as each other, each of a letter of its own, so that
// half of one and a mixture of two can be told. The second half may be held back for a time.
#pragma once

#include <algorithm>
#include <chrono>
#include <coroutine>
#include <optional>
#include <string_view>
#include <utility>

#include "client/remote/loop.hpp"
#include "platform/http/upload_source.hpp"

namespace quillon {

// What holds the second halves of bodies back. Not for long: a server, or the way to it, may take
// one request at a time.
class BodyHold {
public:
    explicit BodyHold(Loop& loop) : loop_(loop) {}

    bool isOver() const { return over_ || std::chrono::steady_clock::now() >= end_; }
    void end() { over_ = true; }

    // One of the requests was answered, be it before its body was held.
    void noteAnswer() {
        answered_ = true;
        noteChange();
    }
    bool isAnswered() const { return answered_; }
    // A body is held, or no more.
    void noteChange() {
        if (waiting_) loop_.post(std::exchange(waiting_, nullptr));
    }

    // To be awaited by one task, for either of these.
    auto change() {
        struct Waiting {
            BodyHold& hold;
            bool await_ready() const { return false; }
            void await_suspend(std::coroutine_handle<> task) { hold.waiting_ = task; }
            void await_resume() const {}
        };
        return Waiting{*this};
    }

private:
    static constexpr std::chrono::seconds longest{3};
    const std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + longest;
    Loop& loop_;
    std::coroutine_handle<> waiting_;
    bool over_ = false, answered_ = false;
};

class ProbeBody final : public vxhost::UploadSource {
public:
    static constexpr size_t size = 4096;  // in bytes

    explicit ProbeBody(char letter, BodyHold* hold = nullptr) : letter_(letter), hold_(hold) {}

    // The letter of a whole content; nothing for any other.
    static std::optional<char> letterOf(std::string_view content) {
        const bool isWhole = content.size() == size &&
                             std::ranges::all_of(content, [&](char c) { return c == content[0]; });
        return isWhole ? std::optional(content[0]) : std::nullopt;
    }

    char letter() const { return letter_; }
    // The first half is on its way.
    bool isHeld() const { return held_; }

    std::optional<uint64_t> length() const override { return size; }
    size_t read(char* to, size_t room) override {
        const bool isFirstHalf = hold_ && position_ < size / 2;
        const size_t count = std::min(room, (isFirstHalf ? size / 2 : size) - position_);
        std::fill_n(to, count, letter_);
        position_ += count;
        return count;
    }
    void rewind() override { position_ = 0; }
    void measure() override { rewind(); }
    bool hasFailed() const override { return false; }
    bool finished() const override { return position_ == size; }
    bool mustWait() override {
        const bool held = hold_ && position_ == size / 2 && !hold_->isOver();
        if (std::exchange(held_, held) != held) hold_->noteChange();
        return held;
    }

private:
    const char letter_;
    BodyHold* const hold_;
    size_t position_ = 0;
    bool held_ = false;
};

}  // namespace quillon
