#include "platform/http/upload_source.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "platform/base/status.hpp"

namespace vxhost {
namespace {

// A body that ends within it goes out with its length: some servers store an empty file when a
// small body comes in chunks.
constexpr size_t gatheredBytes = 1 << 20;

}  // namespace

CallbackUpload::CallbackUpload(const Settings& settings, vx::ReadCallback* callback,
                               std::optional<uint64_t> announced)
    : settings_(settings), callback_(callback), announced_(announced) {
    gather();
}

void CallbackUpload::pull() {
    const void* data = nullptr;
    uint64_t size = 0;
    const Status status = callback_->callback(callback_, &data, &size);
    if (status == vx::VX_END_OF_DATA) {
        ended_ = true;
    } else if (status != vx::VX_SUCCESS) {
        fail(status, fmt::format("The content to store could not be read: {}", statusText(status)));
    } else {
        piece_ = {static_cast<const char*>(data), size};
        pulled_ += size;
    }
    checkLength();
}

void CallbackUpload::fail(Status status, const std::string& why) {
    failed_ = true;
    throw Failure(status, why);
}

void CallbackUpload::checkLength() {
    if (!announced_ || (ended_ ? pulled_ == *announced_ : pulled_ <= *announced_)) return;
    fail(WEBLNK_CUT_OFF,
         fmt::format("The content to store has {} {} bytes instead of {}.",
                     ended_ ? "only" : "more than", ended_ ? pulled_ : *announced_, *announced_));
}

void CallbackUpload::gather() {
    while (!ended_ && gathered_.size() < gatheredBytes) {
        pull();
        gathered_ += piece_;
        piece_ = {};
    }
    length_ = announced_;
    if (ended_) length_ = gathered_.size();
}

size_t CallbackUpload::read(char* to, size_t room) {
    size_t size = std::min(room, gathered_.size() - position_);
    std::copy_n(gathered_.data() + position_, size, to);
    position_ += size;
    while (size < room && !ended_) {
        if (piece_.empty()) {
            beyond_ = true;
            pull();
            continue;
        }
        const size_t part = std::min(room - size, piece_.size());
        std::copy_n(piece_.data(), part, to + size);
        piece_.remove_prefix(part);
        size += part;
    }
    sent_ += size;
    // The end is asked for before the last bytes leave: behind them may be more than was announced.
    while (announced_ && sent_ == *announced_ && !ended_ && piece_.empty()) pull();
    if (settings_.progress && size > 0) settings_.progress({sent_, length_.value_or(0)});
    return size;
}

void CallbackUpload::rewind() {
    if (beyond_) {
        // The callback begins anew after its end, and only there.
        while (!ended_) pull();
        gathered_.clear();
        piece_ = {};
        beyond_ = ended_ = false;
        pulled_ = 0;
        gather();
    }
    position_ = 0;
    sent_ = 0;
}

void CallbackUpload::measure() {
    while (!ended_) pull();
    announced_ = pulled_;
    beyond_ = true;
    rewind();
}

}  // namespace vxhost
