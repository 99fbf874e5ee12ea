// A server of the test's own making: each answer is given by a rule, and may be wrong in a way that
// has a name. Requests that no rule fits are answered 501 and complained of on standard error.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/connection_server.hpp"
#include "tests/support/http_scanner.hpp"
#include "tests/support/process.hpp"

namespace support {

struct Request : MessageHead {
    std::string body;
    bool complete = false;  // its body came to its end
    int answered = 0;       // the status of the answer; 0: none
};

// An answer, and what goes wrong with it. The functions change this answer and give it back, so
// that they can be strung together.
class Answer {
public:
    explicit Answer(int status = 200, std::string body = {})
        : status_(status), body_(std::move(body)) {}
    static Answer xml(int status, const std::string& body) {  // application/xml in UTF-8
        return Answer(status, "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + body)
            .with("Content-Type", "application/xml; charset=\"utf-8\"");
    }
    static Answer raw(std::string bytes) {  // just these bytes, then the end
        Answer answer;
        answer.raw_ = std::move(bytes);
        return answer;
    }

    Answer& with(std::string name, std::string value) {  // one more header field
        fields_.emplace_back(std::move(name), std::move(value));
        return *this;
    }

    // In the answer. The first n bytes of the body are sent rightly, then comes
    Answer& truncatedAfter(size_t n) { return endAfter(n, End::close); }  // an orderly end
    Answer& resetAfter(size_t n) { return endAfter(n, End::reset); }
    Answer& stalledAfter(size_t n) { return endAfter(n, End::stall); }  // silence until release()
    Answer& slowly(size_t pieceBytes, Duration pause) {
        piece_ = pieceBytes;
        pause_ = pause;
        return *this;
    }
    Answer& endless() {  // the body over and over, until the client is gone
        if (body_.empty()) body_.assign(64 * 1024, '.');
        endless_ = true;
        return chunked();
    }
    Answer& declaring(uint64_t length) {  // a wrong Content-Length; then the end
        declared_ = length;
        end_ = End::close;
        return *this;
    }
    Answer& chunked() { return set(chunked_); }  // no fault: no length, one chunk for each KiB
    Answer& garbageChunks() { return set(garbage_).chunked(); }  // the second chunk has no size

    // In the request.
    Answer& beforeBody() { return set(beforeBody_); }  // while the body still arrives, without 100
    Answer& closeAfterBody(size_t n) {  // no answer: a reset after n bytes of the request's body
        closeAfterBody_ = n;
        return *this;
    }
    Answer& dropped() { return set(dropped_); }  // no answer: an orderly end after the request

private:
    friend class ScriptedServer;
    enum class End { keep, close, reset, stall };

    Answer& endAfter(size_t n, End end) {
        sent_ = n;
        end_ = end;
        return *this;
    }
    Answer& set(bool& fault) {
        fault = true;
        return *this;
    }

    int status_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::string body_;
    std::optional<std::string> raw_;
    size_t sent_ = std::numeric_limits<size_t>::max();  // how much of the body
    End end_ = End::keep;                               // what comes after it
    size_t piece_ = std::numeric_limits<size_t>::max();
    Duration pause_{};
    std::optional<uint64_t> declared_;
    bool chunked_ = false, garbage_ = false, endless_ = false, beforeBody_ = false;
    bool dropped_ = false;
    std::optional<size_t> closeAfterBody_;
};

class ScriptedServer {
public:
    using Handler = std::function<Answer(const Request&)>;  // called on a thread of the server

    ScriptedServer();
    ~ScriptedServer();

    uint16_t port() const { return server_.port(); }
    std::string url(std::string_view path = {}) const;  // path: encoded, without the first slash

    // A rule fits a request of this method ("*": any) whose target is this one; a target that ends
    // in "*" fits whatever begins so. The rules of once() go first, in the order in which they were
    // given, each for one request; of the others the latest that fits is used. A handler is called
    // when the request's body is there, so that faults in the request are for fixed answers only.
    ScriptedServer& on(std::string method, std::string target, Answer answer);
    ScriptedServer& on(std::string method, std::string target, Handler handler);
    ScriptedServer& once(std::string method, std::string target, Answer answer);

    std::vector<Request> requests() const;
    std::string transcript() const;  // lines "METHOD target status", status 0: no answer
    void clearRequests();
    int connections() const { return server_.connections(); }

    // False: time is out before so many requests (their headers at least) have come.
    bool waitForRequests(size_t count, Duration deadline = patience) const;
    void release();  // ends all stalls: the connections are closed

private:
    using Action = std::variant<Answer, Handler>;
    struct Rule {
        std::string method, target;
        Action action;
    };
    class Conversation;  // with one client

    Action actionFor(const Request& request);
    size_t record(const Request& request);  // its index
    void update(size_t index, const Request& request);
    bool pauseFor(Duration time);  // false: the server ends
    void stall();

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Rule> rules_, onceRules_;
    std::vector<Request> requests_;
    bool released_ = false, ending_ = false;
    ConnectionServer server_;
};

}  // namespace support
