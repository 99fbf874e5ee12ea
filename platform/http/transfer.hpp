// One run of a curl handle: a request goes out, its answer comes in.
#pragma once

#include <curl/curl.h>
#include <netinet/in.h>

#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "host/status.h"
#include "platform/http/curl_handles.hpp"
#include "platform/http/request.hpp"
#include "platform/http/stall_watch.hpp"
#include "platform/http/target.hpp"
#include "platform/http/wire_trace.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {

// What is known from the runs for the same request before.
struct Attempts {
    static constexpr int mostChallenges = 3;

    int requests = 0;               // that went out in the latest run
    int challenges = 0;             // so far; a run counts on, and ends at the last that may be
    bool awaitsContinue = true;     // a large upload does, until a server refused that
    bool trustsConnections = true;  // else what may not be repeated goes over a new one
    std::string noTicket{};         // why libcurl got none of Kerberos; empty: it tells nothing
};

// Credentials and proxy are set in the handle already.
class Transfer {
public:
    using Clock = std::chrono::steady_clock;

    // The run begins with the next curl_multi_perform. All that is handed in outlives the transfer.
    Transfer(CURL* easy, CURLM* multi, const Sender& sender, const Request& request,
             Attempts& attempts);
    // Breaks off a run that has not ended, with its connection or stream.
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Asked again and again while the run lasts: throws a Failure when it has to end.
    void watch();
    // When the rest of an answer is waited for no longer, and end() may be called.
    std::optional<Clock::time_point> graceEnd() const { return graceEnd_; }
    // The answer of a run that curl says is over, or that has come to its grace's end. Throws a
    // Failure, too.
    Answer end(CURLcode code);
    // Goes on with a body that its sink was too full for.
    void resume();
    // The same with a body on its way to the server, once its source need not wait.
    void goOnSending();

    bool isAnswered() const { return answered_; }  // a status line came
    // Whether the server answered an upload before it was whole, and nobody knows what.
    bool isAnswerLost(CURLcode code) const;
    // A connection that was kept ended as it was used again, or before it was answered.
    bool lostConnection() const { return lostConnection_ || (sent_ && !answered_); }
    bool askedForDigest() const { return askedForDigest_; }  // by a challenge of this run

private:
    // Why the rest of an answer is not wanted.
    enum class Enough { no, expectRefused, lastChallenge, longText, graceOver };

    void setCallbacks();
    void watchSpeed();
    void watchAnswer();
    void judge(CURLcode code);
    [[noreturn]] void failForPin() const;
    [[noreturn]] void failForProxy(std::string_view why) const;
    bool headerTooLong(CURLcode code) const;
    void trace(CURLcode code) const;
    void tellTraffic() const;
    [[noreturn]] void fail(vx::Status status, std::string_view why) const;

    curl_socket_t openSocket(const curl_sockaddr& peer);
    bool viaProxy() const;
    bool beginAttempt();
    bool takeHeader(std::string_view line);  // false, as from the next two: no more is wanted
    bool endHeader();
    bool isTalkedDown();
    bool mustWait();
    bool mustHold();
    bool takeBody(std::string_view piece);
    bool movesContent() const;  // now, and not what comes before and after
    bool stop(Enough why);      // false
    bool isSuccess() const { return vxhost::isSuccess(answer_.status); }

    // Runs the body of a callback, in which nothing may be thrown; what is, end() throws again.
    template <class Body>
    bool kept(Body&& body) noexcept;

    CURL* easy_;
    CURLM* multi_;
    const Sender& sender_;
    const Request& request_;
    Attempts& attempts_;
    WireTrace trace_;
    HeaderListPtr headers_;
    char error_[CURL_ERROR_SIZE] = "";

    Answer answer_;
    StallWatch stall_;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point waiting_ = begun_;         // since then for an answer that is no content
    std::optional<Clock::time_point> graceEnd_;  // of an answer of which the header suffices
    std::exception_ptr failure_;
    in_port_t peerPort_ = 0;  // of the latest connection that was begun; 0: none was
    uint64_t headerBytes_ = 0;
    uint64_t interimBytes_ = 0;  // of them those of interim answers, with which nothing moves on
    uint64_t bodyBytes_ = 0;
    bool sent_ = false;      // a request went out
    bool answered_ = false;  // a status line came since
    bool headerEnded_ = false;
    bool askedForDigest_ = false;
    bool bodyBegun_ = false;
    bool lostConnection_ = false;
    bool paused_ = false;  // until resume()
    bool held_ = false;    // until goOnSending()
    Enough enough_ = Enough::no;
};

}  // namespace vxhost
