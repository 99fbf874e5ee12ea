#include "client/remote/content_pipe.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/base/status.hpp"

namespace quillon {
namespace {

using vxhost::Failure;

// Of bytes: as many wait to be read, and as many are kept from the beginning, to be sent again.
constexpr size_t capacity = 1 << 20;

}  // namespace

void ContentPipe::announce(std::optional<uint64_t> length, const std::string&) {
    const std::lock_guard lock(mutex_);
    if (!begun_) {
        // A page that answers in its place has another length, and must not be sent on.
        if (length && length_ && *length != *length_) {
            isOther_ = true;
            throw Failure(vxhost::WEBLNK_CUT_OFF, "It has another length than was told.");
        }
        if (length) length_ = length;
    } else if (length && length != length_) {
        throw Failure(vxhost::WEBLNK_CUT_OFF, "It was changed while it was fetched. Try again.");
    }
}

void ContentPipe::begin() {
    const std::lock_guard lock(mutex_);
    if (position_ > 0) {
        throw Failure(vxhost::WEBLNK_CUT_OFF,
                      "The connection broke off when a part of it had been sent on. Try again.");
    }
    bytes_.clear();
    first_ = came_ = 0;
    hash_.reset();
    begun_ = true;
    changed_.notify_all();
}

void ContentPipe::take(std::string_view piece) {
    hash_.add(piece);
    std::unique_lock lock(mutex_);
    // Nobody would read it, least of all behind a length of nothing.
    if (came_ + piece.size() > length_.value_or(UINT64_MAX)) {
        throw Failure(vxhost::WEBLNK_CUT_OFF, "It is longer than it was said to be.");
    }
    changed_.wait(lock, [this] { return closed_ || came_ - position_ < capacity; });
    if (closed_) throw Failure(vxhost::WEBLNK_CUT_OFF, "The other server took no more of it.");
    const uint64_t read = position_ - first_;
    if (came_ + piece.size() > capacity && read >= capacity / 2) {
        bytes_.erase(0, static_cast<size_t>(read));
        first_ = position_;
    }
    bytes_ += piece;
    came_ += piece.size();
    changed_.notify_all();
}

void ContentPipe::end(bool isWhole) {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    whole_ = isWhole && begun_ && came_ == length_.value_or(came_);
    changed_.notify_all();
}

bool ContentPipe::awaitBeginning() {
    std::unique_lock lock(mutex_);
    // An empty body is never read, so that its end has to be known before.
    changed_.wait(lock, [this] { return ended_ || (begun_ && length_ != 0); });
    return ended_ ? whole_ : begun_;
}

void ContentPipe::fail(const char* why) {
    failed_ = true;
    throw Failure(vxhost::WEBLNK_CUT_OFF, why);
}

size_t ContentPipe::read(char* to, size_t room) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ended_ || came_ > position_ + 1; });
    if (ended_ && !whole_) {
        sourceFailed_ = true;
        fail("its source broke off");
    }
    if (came_ > length_.value_or(came_)) fail("its source is longer than it was said to be");
    const uint64_t ready = came_ - position_ - (ended_ ? 0 : 1);
    const auto size = static_cast<size_t>(std::min<uint64_t>(room, ready));
    std::memcpy(to, bytes_.data() + (position_ - first_), size);
    position_ += size;
    changed_.notify_all();
    if (settings_.progress && size > 0) settings_.progress({position_, length_.value_or(0)});
    return size;
}

void ContentPipe::rewind() {
    const std::lock_guard lock(mutex_);
    if (first_ > 0) fail("the server wants it once more, of which a part is gone; try again");
    position_ = 0;
}

void ContentPipe::measure() {
    const std::lock_guard lock(mutex_);
    fail("the server wants its length, which its source does not tell");
}

bool ContentPipe::hasFailed() const {
    const std::lock_guard lock(mutex_);
    return failed_;
}

bool ContentPipe::sourceFailed() const {
    const std::lock_guard lock(mutex_);
    return sourceFailed_;
}

bool ContentPipe::finished() const {
    const std::lock_guard lock(mutex_);
    return whole_ && position_ == came_;
}

void ContentPipe::close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

}  // namespace quillon
