// A server of the test's own making: each answer is given by a rule, and may be wrong in a way that
// has a name. Requests that no rule fits are answered 501 and complained of on standard error.
#pragma once

#include <strings.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/process.hpp"

namespace support {

class ConnectionServer;

// HTTP compares field names without regard to case.
struct CaseLess {
    bool operator()(const std::string& left, const std::string& right) const {
        return strcasecmp(left.c_str(), right.c_str()) < 0;
    }
};

struct Request {
    std::string method, target;
    std::map<std::string, std::string, CaseLess> fields;  // of one name are joined by commas
    std::string body;
    bool complete = false;  // its body came to its end
    int answered = 0;       // the status of the answer; 0: none

    std::string_view field(const std::string& name) const {  // "" when it is not there
        const auto found = fields.find(name);
        return found == fields.end() ? std::string_view() : found->second;
    }
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
    static Answer raw(std::string bytes) { return Answer().set(&Answer::raw_, std::move(bytes)); }

    Answer& with(std::string name, std::string value) {  // one more header field
        fields_.emplace_back(std::move(name), std::move(value));
        return *this;
    }

    // In the answer. The first n bytes of the body are sent rightly, then comes
    Answer& truncatedAfter(size_t n) { return end(n, End::close); }  // an orderly end
    Answer& resetAfter(size_t n) { return end(n, End::reset); }
    Answer& stalledAfter(size_t n) { return end(n, End::stall); }  // silence until the server ends
    Answer& slowly(size_t pieceBytes, Duration pause) {
        return set(&Answer::piece_, pieceBytes).set(&Answer::pause_, pause);
    }
    // The body over and over, until the client is gone.
    Answer& endless() { return chunked().set(&Answer::endless_, true); }
    Answer& chunked() { return set(&Answer::chunked_, true); }  // no fault: a chunk for each KiB
    Answer& garbageChunks() { return chunked().set(&Answer::garbage_, true); }  // behind the first

    // In the request.
    Answer& beforeBody() { return set(&Answer::beforeBody_, true); }  // instead of a 100
    // No answer: a reset after n bytes of the request's body, or an orderly end after all of it.
    Answer& closeAfterBody(size_t n) { return set(&Answer::closeAfterBody_, n); }
    Answer& dropped() { return set(&Answer::dropped_, true); }

private:
    friend class ScriptedServer;
    enum class End { keep, close, reset, stall };

    template <class Value>
    Answer& set(Value Answer::*part, std::type_identity_t<Value> value) {
        this->*part = std::move(value);
        return *this;
    }
    Answer& end(size_t n, End how) { return set(&Answer::sent_, n).set(&Answer::end_, how); }

    int status_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::string body_;
    std::string raw_;                                   // instead of all this, then the end
    size_t sent_ = std::numeric_limits<size_t>::max();  // how much of the body
    End end_ = End::keep;                               // what comes after it
    size_t piece_ = std::numeric_limits<size_t>::max();
    Duration pause_{};
    std::optional<size_t> closeAfterBody_;
    bool chunked_ = false, garbage_ = false, endless_ = false, beforeBody_ = false;
    bool dropped_ = false;
};

class ScriptedServer {
public:
    using Handler = std::function<Answer(const Request&)>;  // called on a thread of the server

    ScriptedServer();
    ~ScriptedServer();

    uint16_t port() const;
    std::string url(std::string_view path = {}) const;  // as of localUrl()

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
    int connections() const;

    // False: time is out before so many requests (their headers at least) have come.
    bool waitForRequests(size_t count) const;

private:
    struct Rule {
        std::string method, target;
        Answer answer;
        Handler handler;  // or null: the answer counts
    };
    class Conversation;  // with one client

    void add(std::vector<Rule>& to, Rule rule);
    Rule ruleFor(const Request& request);
    void record(const std::shared_ptr<Request>& request);
    bool pauseFor(Duration time);  // false: the server ends

    mutable std::mutex mutex_;  // over all below, and what requests_ point to
    mutable std::condition_variable changed_;
    std::vector<Rule> rules_, onceRules_;
    std::vector<std::shared_ptr<Request>> requests_;
    bool ending_ = false;
    std::unique_ptr<ConnectionServer> server_;
};

}  // namespace support
