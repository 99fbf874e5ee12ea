#include "platform/http/engine.hpp"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/curl_memory.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/way_in.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds pollInterval{100};  // until an interrupt is noticed
constexpr unsigned usualConnections = 8;   // to the origin at once, of all that send
// A question that costs a server nothing is answered by then over a second connection, or the
// server serves one connection at a time and waits for the end of the first.
constexpr milliseconds patience{1500};

SharePtr makeShare() {
    SharePtr share(curl_share_init());
    if (!share) throw std::bad_alloc();
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    return share;
}

bool isSafe(const Request& request) {  // RFC 9110, 9.2.1
    const std::string_view method = request.method;
    return method == "GET" || method == "HEAD" || method == "OPTIONS" || method == "PROPFIND";
}

bool isCheap(const Request& request) {
    return request.method == "HEAD" || request.method == "OPTIONS";
}

bool isHttp2(CURL* easy) {
    long version = 0;
    curl_easy_getinfo(easy, CURLINFO_HTTP_VERSION, &version);
    return version == CURL_HTTP_VERSION_2_0;
}

}  // namespace

Engine::Engine(const Settings& settings)
    : settings_(settings), authentication_(settings), mostConnections_(usualConnections) {
    startCurl();
    multi_.reset(curl_multi_init());
    if (!multi_) throw std::bad_alloc();
    setMostConnections(usualConnections);
    // Before it is known whether the server speaks HTTP/2, requests at the same time go over a
    // connection each: to wait for the first handshake would cost the others two round trips where
    // it does not.
    curl_multi_setopt(multi_.get(), CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_MULTIPLEX));
}

Engine::~Engine() = default;

void Engine::setMostConnections(unsigned most) {
    mostConnections_ = most;
    curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(most));
}

void Engine::bind(const Sender& sender, const std::string& url) {
    std::string wanted = origin(url);
    const bool same = credentials_ && wanted == origin_ &&
                      (credentials_ == sender.credentials || *credentials_ == *sender.credentials);
    if (same) return;
    expectations_.drop();
    recall_.drop();
    idle_.clear();
    share_ = makeShare();
    origin_ = std::move(wanted);
    pace_ = Pace::of(origin_);
    credentials_ = sender.credentials;
    authentication_.begin(url, credentials_);
    oneByOne_ = false;
    trustsConnections_ = true;
}

void Engine::expect(std::vector<Request> requests) {
    plan_ = expectations_.keepOnly(std::move(requests));
}

// What takes a server long begins first: were it to serve fewer connections than we open, a
// question that costs nothing would be left waiting, and tell.
void Engine::beginExpected(const Sender& sender) {
    std::vector<Request> plan = std::exchange(plan_, {});
    std::stable_partition(plan.begin(), plan.end(),
                          [](const Request& request) { return !isCheap(request); });
    for (Request& request : plan) {
        if (sameOrigin(request.url, origin_)) expectations_.add(sender, std::move(request));
    }
}

Answer Engine::perform(const Sender& sender, Request request) {
    bind(sender, request.url);
    if (!isSafe(request)) {
        plan_.clear();
        expectations_.drop();
        recall_.drop();
    }
    if (auto recalled = recall_.find(request)) {
        logLine(sender.logger, vx::LOG_TRACE,
                request.method + ' ' + request.url + ": the same as a moment ago");
        return std::move(*recalled);
    }
    limitConnections();
    beginExpected(sender);
    if (const auto expected = expectations_.take(request)) {
        expected->becomeThat(sender, request);
        return await(expected->exchange, true);
    }
    Exchange exchange(sender, std::move(request));
    exchange.allowRepeats();
    return await(exchange, false);
}

Answer Engine::await(Exchange& wanted, bool wasExpected) {
    wanted_ = &wanted;
    const struct Reset {
        ~Reset() { wanted = nullptr; }
        Exchange*& wanted;
    } reset{wanted_};
    drive(wasExpected);
    Answer answer = wanted.take();
    recall_.note(wanted.request(), wanted.url(), answer);
    return answer;
}

template <class Function>
void Engine::forEach(Function&& function) {
    if (wanted_) function(*wanted_);
    for (const auto& expected : expectations_) function(expected->exchange);
    for (Submitted& each : submitted_) function(each.exchange);
}

EasyPtr Engine::takeHandle(const std::string& url) {
    EasyPtr easy;
    if (idle_.empty()) {
        easy.reset(curl_easy_init());
        if (!easy) throw std::bad_alloc();
        setConnectionOptions(easy.get(), settings_);
        if (const WayIn* wayIn = wayInTo(url, settings_)) setWayIn(easy.get(), *wayIn);
        setOption(easy.get(), CURLOPT_SHARE, share_.get());
        setOption(easy.get(), CURLOPT_COOKIEFILE, "");  // kept in memory
    } else {
        easy = std::move(idle_.back());
        idle_.pop_back();
    }
    authentication_.apply(easy.get(), url);
    return easy;
}

// Gives whether an attempt began.
bool Engine::beginDue() {
    if (oneByOne_ || authentication_.isDigest()) expectations_.drop();
    // In curl's hands one that waits for a connection would count as stalled.
    const bool hasStreams = multiplexed_.value_or(false);
    const size_t mostRunning = hasStreams ? SIZE_MAX : connectionsAtOnce();
    const auto now = Clock::now();
    size_t running = 0;
    bool began = false;
    forEach([&](const Exchange& exchange) { running += exchange.isRunning() ? 1 : 0; });
    forEach([&](Exchange& exchange) {
        if (exchange.isOver() || exchange.isRunning() || now < exchange.notBefore()) return;
        if (running > 0 && authentication_.isInTurn()) return;
        if (running >= mostRunning) return;
        if (exchange.keepsPace() && !pace_->beginsNext(now)) return;
        exchange.begin(takeHandle(exchange.request().url), multi_.get(), trustsConnections_);
        if (running == 0) roundTripTold_ = handshakeTold_ = false;
        ++running;
        began = true;
    });
    return began;
}

void Engine::run() {
    forEach([](Exchange& exchange) { exchange.goOnSending(); });
    int running = 0;
    require(curl_multi_perform(multi_.get(), &running));
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        const CURLcode code = message->data.result;  // the message goes with its handle
        char* data = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &data);
        endAttempt(*reinterpret_cast<Exchange*>(data), code);
    }
    endThoseInGrace();
}

// One at a time, since an end may drop others.
void Engine::endThoseInGrace() {
    for (Exchange* ripe = nullptr;; ripe = nullptr) {
        forEach([&](Exchange& exchange) {
            const auto end = exchange.graceEnd();
            if (end && Clock::now() >= *end) ripe = &exchange;
        });
        if (!ripe) return;
        endAttempt(*ripe, CURLE_OK);
    }
}

void Engine::endAttempt(Exchange& exchange, CURLcode code) {
    const bool wasKnown = authentication_.isKnown();
    const unsigned generation = authentication_.generation();
    EasyPtr easy = exchange.end(code, authentication_);
    if (easy) countRoundTrips(easy.get(), exchange.requestsOfAttempt());
    if (exchange.foundServerBusy()) {
        oneByOne_ = true;
        ++timesBusy_;
        pace_->noteBusy(Clock::now(), exchange.notBefore());
    } else {
        pace_->noteAnswer();
    }
    if (exchange.lostConnection()) trustsConnections_ = false;
    if (easy && code == CURLE_OK) multiplexed_ = isHttp2(easy.get());
    if (generation != authentication_.generation()) {
        idle_.clear();  // curl would take every later challenge for another refusal
    } else if (easy) {
        idle_.push_back(std::move(easy));
    }
    // What others were told without credentials may be less than with them.
    if (!wasKnown && authentication_.isKnown()) expectations_.dropBegun();
}

void Engine::countRoundTrips(CURL* easy, int requests) {
    if (requests == 0) return;  // nobody was there
    long connections = 0;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connections);
    uint64_t trips = static_cast<uint64_t>(requests) - 1;  // after a challenge
    if (!std::exchange(roundTripTold_, true)) ++trips;
    if (connections > 0 && !std::exchange(handshakeTold_, true)) {
        trips += origin_.starts_with("https:") ? 2 : 1;  // TLS 1.3 adds one to TCP's
    }
    tellRoundTrips(trips);
}

void Engine::tellRoundTrips(uint64_t count) const {
    if (settings_.traffic && count > 0) settings_.traffic({.roundTrips = count});
}

unsigned Engine::connectionsAtOnce() const {
    const unsigned senders = settings_.senders ? std::max(1u, settings_.senders->load()) : 1;
    return std::max(2u, mostConnections_ / senders);
}

void Engine::limitConnections() {
    const long most = connectionsAtOnce();
    curl_multi_setopt(multi_.get(), CURLMOPT_MAX_HOST_CONNECTIONS, most);
}

void Engine::goOneByOneIfStuck(Clock::time_point since) {
    if (!isCheap(wanted_->request()) || wanted_->isAnswered()) return;
    if (Clock::now() - since < patience) return;
    oneByOne_ = true;
    wanted_->breakOff();
}

// Who is due and does not run waits for the end of another.
milliseconds Engine::untilNext() {
    const auto now = Clock::now();
    auto next = now + pollInterval;
    forEach([&](const Exchange& exchange) {
        const auto end = exchange.graceEnd();
        if (end) next = std::min(next, *end);
        const bool waits = !exchange.isRunning() && exchange.notBefore() > now;
        if (waits) next = std::min(next, exchange.notBefore());
    });
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(next - now));
}

void Engine::drive(bool wasExpected) {
    const auto since = Clock::now();
    for (;;) {
        forEach([](Exchange& exchange) { exchange.watch(); });
        if (wanted_->isOver()) return;
        beginDue();
        run();
        if (wanted_->isOver()) {
            if (beginDue()) run();  // the others go out while the caller thinks
            return;
        }
        if (wasExpected && !oneByOne_) goOneByOneIfStuck(since);
        const int wait = static_cast<int>(untilNext().count());
        require(curl_multi_poll(multi_.get(), nullptr, 0, wait, nullptr));
    }
}

void Engine::submit(const Sender& sender, Request request, Ended ended) {
    bind(sender, request.url);
    if (!isSafe(request)) recall_.drop();
    submitted_.emplace_back(sender, std::move(request), std::move(ended));
    submitted_.back().exchange.allowRepeats();
    submitted_.back().exchange.watch();  // after an interrupt it does not go out
}

// An end may submit more, or throw: what is told is no longer among them.
bool Engine::tellEnds() {
    std::list<Submitted> over;
    for (auto each = submitted_.begin(); each != submitted_.end();) {
        const auto next = std::next(each);
        if (each->exchange.isOver()) over.splice(over.end(), submitted_, each);
        each = next;
    }
    for (Submitted& each : over) {
        Answer answer;
        std::exception_ptr failure;
        try {
            answer = each.exchange.take();
        } catch (...) {
            failure = std::current_exception();
        }
        each.ended(std::move(answer), std::move(failure));
    }
    return !over.empty();
}

bool Engine::advance(const std::function<bool()>& isEnough) {
    if (submitted_.empty()) return false;
    limitConnections();
    for (;;) {
        // Deadlines and interrupts are not so urgent that each of many is asked at each turn.
        if (const auto now = Clock::now(); now - watched_ >= pollInterval / 2) {
            watched_ = now;
            forEach([](Exchange& exchange) { exchange.watch(); });
        }
        beginDue();
        run();
        if (beginDue()) run();  // what waited for a connection goes out before those ends are told
        if (tellEnds() || isEnough()) return true;
        const int wait = static_cast<int>(untilNext().count());
        require(curl_multi_poll(multi_.get(), nullptr, 0, wait, nullptr));
    }
}

}  // namespace vxhost
