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

struct Request {
    std::string method, target;
    Fields fields;
    std::string body;
    bool complete = false;                                // its body came to its end
    int connection = 0;                                   // 1: the first
    int answered = 0;                                     // the status of the answer; 0: none
    std::string_view field(std::string_view name) const;  // "" when it is not there
};

// An answer, and what goes wrong with it. The functions change this answer and give it back, so
// that they can be strung together.
class Answer {
public:
    explicit Answer(int status = 200, std::string body = {});
    static Answer xml(int status, std::string body);  // application/xml in UTF-8
    static Answer raw(std::string bytes);             // just these bytes, then the end

    Answer& with(std::string name, std::string value);  // one more header field

    // In the answer. The first n bytes of the body are sent rightly.
    Answer& truncatedAfter(size_t n);  // then an orderly end, though the length promised more
    Answer& resetAfter(size_t n);      // then a reset
    Answer& stalledAfter(size_t n);    // then nothing, until release() or the end of the server
    Answer& slowly(size_t pieceBytes, Duration pause);
    Answer& endless();                   // the body over and over, until the client is gone
    Answer& declaring(uint64_t length);  // a wrong Content-Length; then the end
    Answer& chunked();                   // no fault: no length, one chunk for each KiB
    Answer& garbageChunks();             // chunked, but the second chunk has no size
    Answer& closing();                   // no fault: announces the end and ends the connection

    // In the request.
    Answer& beforeBody();              // sent while the body still arrives; no 100 before it
    Answer& withoutContinue();         // takes the body without a 100, as old servers do
    Answer& closeAfterBody(size_t n);  // no answer: a reset after n bytes of the request's body
    Answer& dropped();                 // no answer: an orderly end after the whole request

private:
    friend class ScriptedServer;
    enum class End { keep, close, reset, stall };

    int status_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::string body_;
    std::optional<std::string> raw_;
    size_t sent_ = std::numeric_limits<size_t>::max();  // how much of the body
    End end_ = End::keep;                               // what comes after it
    size_t piece_ = std::numeric_limits<size_t>::max();
    Duration pause_{};
    std::optional<uint64_t> declared_;
    bool chunked_ = false, garbage_ = false, endless_ = false;
    bool beforeBody_ = false, withoutContinue_ = false, dropped_ = false;
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
