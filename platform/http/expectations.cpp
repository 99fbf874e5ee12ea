#include "platform/http/expectations.hpp"

#include <algorithm>
#include <utility>

namespace vxhost {
namespace {

constexpr std::chrono::seconds longestWait{10};
constexpr size_t mostHeld = 256 << 10;  // bytes of a body; curl holds the next piece back

bool isSame(const Request& a, const Request& b) {
    return a.method == b.method && a.url == b.url && a.headers == b.headers &&
           a.document == b.document && a.isStreamed == b.isStreamed;
}

}  // namespace

void HeldBody::begin(const Answer& answer) {
    if (to_) return to_->begin(answer);
    begun_ = answer;
    held_.clear();
}

void HeldBody::write(std::string_view piece) {
    if (to_) return to_->write(piece);
    held_ += piece;
}

std::vector<std::string> HeldBody::continuation() const {
    return to_ ? to_->continuation() : std::vector<std::string>();
}

bool HeldBody::isFull() const {
    return !to_ && held_.size() >= mostHeld;
}

void HeldBody::passTo(BodySink& sink) {
    to_ = &sink;
    if (begun_) sink.begin(*begun_);
    if (!held_.empty()) sink.write(held_);
    std::string().swap(held_);
}

ExpectedExchange::ExpectedExchange(const Sender& sender, Request request)
    : asked(request), exchange(sender, std::move(request)) {
    if (asked.isStreamed) exchange.setSink(&body);
}

void ExpectedExchange::becomeThat(const Sender& sender, const Request& request) {
    exchange.setJournal(sender.journal);
    exchange.allowRepeats();
    if (request.sink) body.passTo(*request.sink);
    exchange.resume();
}

// Its journal may be gone when the answer comes; what is worth a sentence is asked for anew.
void Expectations::add(const Sender& sender, Request request) {
    const Sender silent{sender.settings, sender.credentials, nullptr, sender.logger};
    expected_.push_back(std::make_unique<ExpectedExchange>(silent, std::move(request)));
}

std::vector<Request> Expectations::keepOnly(std::vector<Request> requests) {
    std::erase_if(expected_, [&](const Pointer& expected) {
        const auto found = std::ranges::find_if(
            requests, [&](const Request& request) { return isSame(expected->asked, request); });
        const bool kept = found != requests.end();
        if (kept) requests.erase(found);
        return !kept;
    });
    return requests;
}

Expectations::Pointer Expectations::take(const Request& request) {
    const auto found = std::ranges::find_if(
        expected_, [&](const Pointer& expected) { return isSame(expected->asked, request); });
    if (found == expected_.end()) return nullptr;
    Pointer expected = std::move(*found);
    expected_.erase(found);
    const bool late = Exchange::Clock::now() - expected->since > longestWait;
    return late || !expected->exchange.mayStandForRequest() ? nullptr : std::move(expected);
}

void Expectations::dropBegun() {
    std::erase_if(expected_, [](const Pointer& expected) {
        return expected->exchange.isRunning() || expected->exchange.isOver();
    });
}

}  // namespace vxhost
