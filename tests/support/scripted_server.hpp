// A server of the test's own making: each answer is given by a rule, and may be wrong in a way that
// has a name. Requests that no rule fits are answered 501 and complained of on standard error.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/process.hpp"

namespace support {

class ConnectionServer;

struct Request {
    std::string method, target;
    std::map<std::string, std::string> fields;  // of one name are joined by commas
    std::string body;                           // once it is whole
    int answered = 0;                           // the status of the answer; 0: none

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
    // Of one resource: its properties are XML in the namespace DAV:, and found.
    static Answer properties(const std::string& href, const std::string& properties) {
        return xml(207, "<multistatus xmlns=\"DAV:\"><response><href>" + href +
                            "</href><propstat><prop>" + properties +
                            "</prop><status>HTTP/1.1 200 OK</status></propstat></response>"
                            "</multistatus>");
    }
    static Answer challenge(std::string scheme) {
        return Answer(401).with("WWW-Authenticate", std::move(scheme));
    }

    Answer& with(std::string name, std::string value) {  // one more header field
        fields_.emplace_back(std::move(name), std::move(value));
        return *this;
    }

    // The first n bytes of the body are sent rightly, then comes the end, or silence.
    Answer& truncatedAfter(size_t n) { return set(sent_, n); }
    Answer& stalledAfter(size_t n) { return set(stalls_, true).truncatedAfter(n); }
    Answer& slowly(size_t pieceBytes, Duration pause) {
        return set(piece_, pieceBytes).set(pause_, pause);
    }
    Answer& endless() { return set(endless_, true); }        // the body over and over, of no length
    Answer& beforeBody() { return set(beforeBody_, true); }  // of the request; instead of a 100
    // Bytes that are made when the request is whole, or given; behind the latter comes the end.
    Answer& madeBy(std::function<std::string(const Request&)> make) {
        return set(instead_, std::move(make));
    }
    Answer& replacedBy(std::string bytes) {
        return madeBy([=](const Request&) { return bytes; }).truncatedAfter(0);
    }
    Answer& dropped() { return replacedBy(""); }

private:
    friend class ScriptedServer;
    static constexpr size_t all = std::string::npos;

    template <class Part, class Value>
    Answer& set(Part& part, Value value) {
        part = std::move(value);
        return *this;
    }

    int status_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::string body_;
    size_t sent_ = all, piece_ = all;  // bytes of the body
    Duration pause_{};
    std::function<std::string(const Request&)> instead_;
    bool stalls_ = false, endless_ = false, beforeBody_ = false;
};

class ScriptedServer {
public:
    // Called on a thread of the server, one at a time, when the request's header is there.
    using Handler = std::function<Answer(const Request&)>;

    explicit ScriptedServer(bool tls = false);  // with certificate(), and never an end of TLS's own
    ~ScriptedServer();

    std::string url(std::string_view path = {}) const;  // as of localUrl()

    // A rule fits a request of this method ("*": any) whose target is this one; a target that ends
    // in "*" fits whatever begins so. The latest rule that fits is used.
    ScriptedServer& on(std::string method, std::string target, Handler handler);
    ScriptedServer& on(std::string method, std::string target, Answer answer);
    ScriptedServer& inTurn(std::string method, std::string target,
                           std::vector<Answer> answers);  // the last is repeated

    ScriptedServer& serveAtOnce(int connections);  // no more; others wait for the end of one

    std::vector<Request> requests() const;
    int connections() const;         // that were made
    std::string transcript() const;  // lines "METHOD target status", status 0: no answer
    void clearRequests();

private:
    template <class Stream>
    class Conversation;  // with one client, whose stream is a socket, or TLS over one
    struct Rule {
        std::string method, target;
        Handler handler;
    };

    template <class Stream>
    void talk(Stream& client);
    Answer answerTo(const std::shared_ptr<Request>& request);
    void pauseFor(Duration time);  // or until the server ends

    mutable std::mutex mutex_;  // over all below, and what requests_ point to
    std::condition_variable ended_;
    std::vector<Rule> rules_;
    std::vector<std::shared_ptr<Request>> requests_;
    const bool tls_;
    int connections_ = 0, served_ = 0, mostServed_ = INT32_MAX;
    bool ending_ = false;
    std::unique_ptr<ConnectionServer> server_;
};

}  // namespace support
