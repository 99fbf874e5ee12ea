// Safe requests that were sent before anybody asked, and their answers until somebody does.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/http/exchange.hpp"
#include "platform/http/request.hpp"

namespace vxhost {

// Keeps the beginning of a body that nobody has asked for yet, and passes everything on once
// somebody has.
class HeldBody : public BodySink {
public:
    void begin(const Answer& answer) override;
    void write(std::string_view piece) override;
    bool restartable() const override { return !to_ || to_->restartable(); }
    std::vector<std::string> continuation() const override;
    bool isFull() const override;

    void passTo(BodySink& sink);

private:
    std::optional<Answer> begun_;  // the header of the answer
    std::string held_;
    BodySink* to_ = nullptr;
};

struct ExpectedExchange {
    ExpectedExchange(const Sender& sender, Request request);
    // From now on it is that request, whose sink takes the body.
    void becomeThat(const Sender& sender, const Request& request);

    const Request asked;
    HeldBody body;
    Exchange exchange;
    Exchange::Clock::time_point since = Exchange::Clock::now();
};

class Expectations {
public:
    using Pointer = std::unique_ptr<ExpectedExchange>;

    void add(const Sender& sender, Request request);
    void drop() { expected_.clear(); }
    // Drops all but those. Gives those that are not expected yet.
    std::vector<Request> keepOnly(std::vector<Request> requests);
    // The one that this request was expected as: the same method, URL, header fields and document.
    // One that is too old, or did not come to an answer that can stand for the request's, is
    // dropped. Null: there is none.
    Pointer take(const Request& request);
    void dropBegun();  // those that were sent

    auto begin() const { return expected_.begin(); }
    auto end() const { return expected_.end(); }

private:
    std::vector<Pointer> expected_;
};

}  // namespace vxhost
