#include <utility>

#include "tests/support/scripted_server.hpp"

namespace support {

Answer::Answer(int status, std::string body) : status_(status), body_(std::move(body)) {}

Answer Answer::xml(int status, std::string body) {
    Answer answer(status, "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + std::move(body));
    answer.with("Content-Type", "application/xml; charset=\"utf-8\"");
    return answer;
}

Answer Answer::raw(std::string bytes) {
    Answer answer;
    answer.raw_ = std::move(bytes);
    return answer;
}

Answer& Answer::with(std::string name, std::string value) {
    fields_.emplace_back(std::move(name), std::move(value));
    return *this;
}

Answer& Answer::truncatedAfter(size_t n) {
    sent_ = n;
    end_ = End::close;
    return *this;
}

Answer& Answer::resetAfter(size_t n) {
    sent_ = n;
    end_ = End::reset;
    return *this;
}

Answer& Answer::stalledAfter(size_t n) {
    sent_ = n;
    end_ = End::stall;
    return *this;
}

Answer& Answer::slowly(size_t pieceBytes, Duration pause) {
    piece_ = pieceBytes;
    pause_ = pause;
    return *this;
}

Answer& Answer::endless() {
    if (body_.empty()) body_.assign(64 * 1024, '.');
    endless_ = true;
    return chunked();
}

Answer& Answer::declaring(uint64_t length) {
    declared_ = length;
    end_ = End::close;
    return *this;
}

Answer& Answer::chunked() {
    chunked_ = true;
    return *this;
}

Answer& Answer::garbageChunks() {
    garbage_ = true;
    return chunked();
}

Answer& Answer::closing() {
    end_ = End::close;
    return with("Connection", "close");
}

Answer& Answer::beforeBody() {
    beforeBody_ = true;
    return *this;
}

Answer& Answer::withoutContinue() {
    withoutContinue_ = true;
    return *this;
}

Answer& Answer::closeAfterBody(size_t n) {
    closeAfterBody_ = n;
    return *this;
}

Answer& Answer::dropped() {
    dropped_ = true;
    return *this;
}

}  // namespace support
