// One run of a curl handle: a request goes out, its answer comes in.
#pragma once

#include <curl/curl.h>
#include <netinet/in.h>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>

#include "host/status.h"
#include "platform/http/request.hpp"
#include "platform/http/stall_watch.hpp"
#include "platform/http/target.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {

// Credentials and proxy are set in the handle already. Lives for one run.
class Transfer {
public:
    static constexpr int mostChallenges = 3;  // of one request

    // challenges: of the request so far. A run counts on, and ends at the last that may be.
    Transfer(CURL* easy, CURLM* multi, const Target& target, const Request& request,
             int& challenges);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    Answer run();
    bool askedForDigest() const { return askedForDigest_; }  // by a challenge of this run

private:
    using Clock = std::chrono::steady_clock;
    struct ListFree {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    void addHeader(const char* line);
    void setHeaders();
    void setMethod();
    void setCallbacks();
    CURLcode drive();
    void watch();
    void watchSpeed();
    void watchAnswer();
    void judge(CURLcode code);
    bool headerTooLong(CURLcode code) const;
    void trace(CURLcode code) const;
    [[noreturn]] void fail(vx::Status status, std::string_view why) const;

    curl_socket_t openSocket(const curl_sockaddr& peer);
    bool viaProxy() const;
    bool beginAttempt();
    bool takeHeader(std::string_view line);  // false, as from the next two: no more is wanted
    bool endHeader();
    bool isTalkedDown();
    bool takeBody(std::string_view piece);
    bool movesContent() const;  // now, and not what comes before and after
    bool isSuccess() const { return vxhost::isSuccess(answer_.status); }

    // Runs the body of a callback, in which nothing may be thrown; what is, run() throws again.
    template <class Body>
    bool kept(Body&& body) noexcept;

    CURL* easy_;
    CURLM* multi_;
    const Target& target_;
    const Request& request_;
    int& challenges_;
    std::unique_ptr<curl_slist, ListFree> headers_;
    char error_[CURL_ERROR_SIZE] = "";

    Answer answer_;
    StallWatch stall_;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point waiting_ = begun_;         // since then for an answer that is no content
    std::optional<Clock::time_point> graceEnd_;  // of an answer of which the header suffices
    std::exception_ptr failure_;
    in_port_t peerPort_ = 0;  // of the latest connection that was begun; 0: none was
    uint64_t headerBytes_ = 0;
    uint64_t bodyBytes_ = 0;
    bool sent_ = false;      // a request went out
    bool answered_ = false;  // a status line came since
    bool headerEnded_ = false;
    bool askedForDigest_ = false;
    bool bodyBegun_ = false;
    bool enough_ = false;  // of an answer that nobody reads to its end
};

}  // namespace vxhost
