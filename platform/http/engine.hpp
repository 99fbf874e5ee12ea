// The requests of one http context. Several may be under way at once; the thread that waits for one
// of them drives all: the engine has no thread of its own, and is for one thread at a time.
//
// Two manners of use, which do not mix: perform() waits for each answer in turn; submit() sends
// many, whose ends advance() tells.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <exception>
#include <functional>
#include <list>
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

    // A request's end: its answer or, not null, the Failure that it ended with.
    using Ended = std::function<void(Answer answer, std::exception_ptr failure)>;

    // Sends a request beside those that are under way, all of one origin and sender. What it refers
    // to lives until its end is told. How many there may be at a time is for the caller to say.
    void submit(const Sender& sender, Request request, Ended ended);
    // Waits until some of them are over, and tells their ends, in which more may be submitted. It
    // throws what they throw. False: none was under way. isEnough is asked in between, since a body
    // on its way may be what somebody waited for.
    bool advance(const std::function<bool()>& isEnough = [] { return false; });

    // To the origin at once; the default is for what a person waits for.
    void setMostConnections(unsigned most);
    // Whether answers come over HTTP/2; nothing before one has come.
    std::optional<bool> isMultiplexed() const { return multiplexed_; }
    const char* authenticationScheme() const { return authentication_.schemeName(); }
    unsigned timesBusy() const { return timesBusy_; }  // that a server answered 429 or 503

private:
    struct Submitted {
        Submitted(const Sender& sender, Request request, Ended told)
            : exchange(sender, std::move(request)), ended(std::move(told)) {}
        Exchange exchange;
        Ended ended;
    };

    using Clock = Exchange::Clock;

    void bind(const Sender& sender, const std::string& url);
    void beginExpected(const Sender& sender);
    EasyPtr takeHandle(const std::string& url);
    Answer await(Exchange& wanted, bool wasExpected);
    void drive(bool wasExpected);
    void run();
    void endThoseInGrace();
    bool beginDue();
    bool tellEnds();
    void endAttempt(Exchange& exchange, CURLcode code);
    void goOneByOneIfStuck(Clock::time_point since);
    std::chrono::milliseconds untilNext();
    unsigned connectionsAtOnce() const;
    void limitConnections();
    void countRoundTrips(CURL* easy, int requests);
    void tellRoundTrips(uint64_t count) const;

    // The one that is waited for, and those that are expected or submitted.
    template <class Function>
    void forEach(Function&& function);

    const Settings& settings_;
    SharePtr share_;  // TLS sessions and cookies, of one origin
    MultiPtr multi_;  // keeps the connections, so it goes late
    std::vector<EasyPtr> idle_;
    std::string origin_;
    std::shared_ptr<const Credentials> credentials_;
    Authentication authentication_;
    std::shared_ptr<Pace> pace_;
    bool oneByOne_ = false;  // the server does not serve several requests at once, or is busy

    bool trustsConnections_ = true;  // the server closes none right behind an answer
    bool roundTripTold_ = false;     // the one that is under way
    bool handshakeTold_ = false;     // that it began with

    unsigned mostConnections_;
    std::optional<bool> multiplexed_;
    unsigned timesBusy_ = 0;

    std::list<Submitted> submitted_;
    Clock::time_point watched_{};  // when they were looked at last
    std::vector<Request> plan_;    // of what begins with the next request
    Exchange* wanted_ = nullptr;
    Expectations expectations_;
    Recall recall_;
};

}  // namespace vxhost
