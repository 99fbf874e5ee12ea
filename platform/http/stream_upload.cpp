#include "platform/http/stream_upload.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/base/status.hpp"
#include "platform/base/system_failure.hpp"
#include "platform/files/content.hpp"

namespace vxhost {
namespace {

constexpr size_t gatheredStreamBytes = 1 << 20;
// Of a wait for the next bytes, in which the server is not heard.
constexpr int waitMilliseconds = 200;

}  // namespace

StreamUpload::StreamUpload(const Settings& settings, Descriptor input, std::filesystem::path shown)
    : settings_(settings), input_(std::move(input)), shown_(std::move(shown)) {
    gathered_.resize(gatheredStreamBytes);
    size_t size = 0;
    while (!ended_ && size < gatheredStreamBytes) {
        size += readInput(gathered_.data() + size, gatheredStreamBytes - size);
    }
    gathered_.resize(size);
    if (ended_) length_ = size;
}

size_t StreamUpload::readInput(char* to, size_t room) {
    const ssize_t got = readPiece(input_, to, room, OnSignal::end);
    if (got < 0) {
        failed_ = true;
        throwSystemFailure(errno, "Cannot read " + shown_.string());
    }
    ended_ = got == 0;
    return static_cast<size_t>(got);
}

size_t StreamUpload::read(char* to, size_t room) {
    size_t size = std::min(room, gathered_.size() - position_);
    if (size > 0) {
        std::copy_n(gathered_.data() + position_, size, to);
        position_ += size;
    } else if (!ended_) {
        isSpent_ = true;
        gathered_ = {};
        position_ = 0;
        size = readInput(to, room);
    }
    sent_ += size;
    if (settings_.progress && size > 0) settings_.progress({sent_, length_.value_or(0)});
    return size;
}

void StreamUpload::refuse(const std::string& why) {
    failed_ = true;
    throw Failure(WEBLNK_CUT_OFF, why);
}

void StreamUpload::rewind() {
    if (isSpent_) refuse("The server wants the content once more, of which a part is gone.");
    position_ = 0;
    sent_ = 0;
}

void StreamUpload::measure() {
    refuse("The server wants to know the length before the content, which nobody knows.");
}

bool StreamUpload::mustWait() {
    if (ended_ || position_ < gathered_.size()) return false;
    pollfd input{input_.number(), POLLIN, 0};
    return poll(&input, 1, waitMilliseconds) != 1;
}

}  // namespace vxhost
