// A request on the way to its last answer: redirects within the origin, and repeats.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <exception>
#include <optional>
#include <string_view>

#include "platform/http/authentication.hpp"
#include "platform/http/curl_handles.hpp"
#include "platform/http/pace.hpp"
#include "platform/http/repeats.hpp"
#include "platform/http/request.hpp"
#include "platform/http/target.hpp"
#include "platform/http/transfer.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {

// The target's URL. Throws when that is none, or one with a dot segment: curl would remove it, and
// ask for another resource than the caller named.
const std::string& usableUrl(const Target& target);

// Throws when a request cannot name the URL, as above. spelt: the same as the caller spelt it.
void requireUsable(const std::string& url, std::string_view spelt);

// Sends it by the target's engine. Throws a Failure whose text is a sentence when no complete
// answer came, or when the server sends the request to another origin, where neither it nor its
// credentials may go.
Answer exchange(const Target& target, Request request);

inline bool isBusy(int32_t status) {
    return status == 429 || status == 503;
}

// Driven by its engine: attempts begin, are watched and end, until the exchange is over.
class Exchange {
public:
    using Clock = Transfer::Clock;

    Exchange(const Sender& sender, Request request);
    Exchange(const Exchange&) = delete;  // curl holds on to it
    Exchange& operator=(const Exchange&) = delete;

    const Request& request() const { return request_; }
    const std::string& url() const { return url_; }  // as first asked
    bool isOver() const { return over_; }
    bool isRunning() const { return transfer_.has_value(); }
    bool isAnswered() const { return over_ || (transfer_ && transfer_->isAnswered()); }
    // Whether its answer, or the one that is on its way, says what the same request would be told
    // if it were sent now.
    bool mayStandForRequest() const;
    bool keepsPace() const { return !request_.policy.uninterrupted; }  // with a busy server
    Clock::time_point notBefore() const;                               // the next attempt may begin
    std::optional<Clock::time_point> graceEnd() const;                 // of a running attempt
    int requestsOfAttempt() const { return attempts_.requests; }
    bool lostConnection() const { return lostConnection_; }  // in its latest attempt
    bool foundServerBusy() const { return foundServerBusy_; }

    // From here on the request is sent again by the rules of its kind. One that nobody has asked
    // for yet is tried but once.
    void allowRepeats() { repeats_.emplace(); }
    void setJournal(vx::Journal* journal) { sender_.journal = journal; }
    // Before the body came: where it goes.
    void setSink(BodySink* sink) { request_.sink = sink; }
    void resume();       // a body whose sink was full
    void goOnSending();  // one whose source had to wait, if it need not any more

    // The next attempt, over a handle that has the credentials.
    void begin(EasyPtr easy, CURLM* multi, bool trustsConnections);
    void watch() noexcept;
    // The attempt is over. Gives back its handle.
    EasyPtr end(CURLcode code, Authentication& authentication) noexcept;
    void breakOff();  // the running attempt; another may begin

    Answer take();  // once it is over; throws what the exchange failed with

private:
    template <class Body>
    void guardedly(Body&& body) noexcept;
    Answer endAttempt(CURLcode code, Authentication& authentication);
    void askAlone();
    void settle(Answer answer, Authentication& authentication);
    void settleChallenge(Answer answer, Authentication& authentication);
    void requireOffered(std::string_view scheme, const Answer& refusal) const;
    [[noreturn]] void failForTicket() const;
    void settleBusy(Answer answer);
    void follow(Answer answer);
    void restart(std::string_view why);
    void tryAgain(std::string_view why, std::chrono::milliseconds wait);
    bool prepareRepeat(vx::Status failure);
    SpeedLimit* speedLimit() const;  // null: none
    void noteSpeed() const;
    void finish(Answer answer);

    Sender sender_;
    Request request_;
    const std::string url_;
    const size_t ownHeaders_;  // those of a continuation follow
    EasyPtr easy_;
    Attempts attempts_;
    std::optional<Transfer> transfer_;
    Clock::time_point begun_{};  // the latest attempt
    std::optional<Repeats> repeats_;
    int hops_ = 0;
    bool foundServerBusy_ = false;
    bool lostConnection_ = false;
    Clock::time_point notBefore_{};

    bool over_ = false;
    Answer answer_;
    std::exception_ptr failure_;
};

}  // namespace vxhost
