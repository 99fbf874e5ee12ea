// The requests of one http context. Several may be under way at once; the thread that waits for one
// of them drives all: the engine has no thread of its own, and is for one thread at a time.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/http/authentication.hpp"
#include "platform/http/curl_handles.hpp"
#include "platform/http/exchange.hpp"
#include "platform/http/expectations.hpp"
#include "platform/http/recall.hpp"
#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

class Engine {
public:
    explicit Engine(const Settings& settings);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // Sends a request and takes its answer, or takes that of the same request where it was
    // expected. A request that changes something drops first whatever was expected or recalled.
    // Throws a Failure whose text is a sentence.
    Answer perform(const Sender& sender, Request request);

    // Safe requests that will be performed soon. They go out with the next that is performed, over
    // one HTTP/2 connection or over several. What is not performed within ten seconds, or is
    // expected when the next are, is cancelled.
    void expect(std::vector<Request> requests);

private:
    using Clock = Exchange::Clock;

    void bind(const Sender& sender, const std::string& url);
    void beginExpected(const Sender& sender);
    EasyPtr takeHandle(const std::string& url);
    Answer await(Exchange& wanted, bool wasExpected);
    void drive(bool wasExpected);
    void run();
    void endThoseInGrace();
    bool beginDue();
    void endAttempt(Exchange& exchange, CURLcode code);
    void goOneByOneIfStuck(Clock::time_point since);
    std::chrono::milliseconds untilNext() const;
    void limitConnections();
    void countRoundTrips(CURL* easy, int requests);
    void tellRoundTrips(uint64_t count) const;

    // The one that is waited for, and those that are expected.
    template <class Function>
    void forEach(Function&& function);

    const Settings& settings_;
    SharePtr share_;  // TLS sessions and cookies, of one origin
    MultiPtr multi_;  // keeps the connections, so it goes late
    std::vector<EasyPtr> idle_;
    std::string origin_;
    std::shared_ptr<const Credentials> credentials_;
    Authentication authentication_;
    bool oneByOne_ = false;  // the server does not serve several requests at once, or is busy

    bool trustsConnections_ = true;  // the server closes none right behind an answer
    bool handshakeTold_ = false;     // of the round trip that is under way

    std::vector<Request> plan_;  // of what begins with the next request
    Exchange* wanted_ = nullptr;
    Expectations expectations_;
    Recall recall_;
};

}  // namespace vxhost
