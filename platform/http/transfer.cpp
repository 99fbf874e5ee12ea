#include "platform/http/transfer.hpp"

#include <fmt/format.h>
#include <sys/socket.h>

#include <charconv>
#include <utility>

#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/curl_failure.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/proxy.hpp"
#include "platform/http/request_options.hpp"
#include "platform/http/server_certificate.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/http/way_in.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds graceTime{10};  // for a LOCK or UNLOCK of an interrupted program
constexpr size_t keptText = 1 << 18;           // of an answer that no sink takes
constexpr uint64_t readText = 4 * keptText;    // the rest is not waited for
constexpr uint64_t mostHeaderBytes = 1 << 18;  // of one answer; curl itself takes 300 KB
constexpr uint64_t mostUnpacking = 4;          // times the memory that a listing may take
constexpr milliseconds tailGrace{50};          // for the end of an answer that nobody reads
constexpr long idleSecondsRepeatable = 60;     // of a connection that is used again
constexpr long idleSecondsOnce = 4;            // Apache's default closes after 5

in_port_t portOf(std::string_view url) {
    const std::string from = origin(url);
    in_port_t port = from.starts_with("https") ? 443 : 80;
    const auto text = splitAuthority(*splitReference(from).authority).port;
    std::from_chars(text.data(), text.data() + text.size(), port);
    return port;
}

in_port_t portOf(const curl_sockaddr& peer) {
    if (peer.family != AF_INET && peer.family != AF_INET6) return 0;
    // The port is at the same place in both (RFC 3493, 3.10).
    return ntohs(reinterpret_cast<const sockaddr_in&>(peer.addr).sin_port);
}

}  // namespace

Transfer::Transfer(CURL* easy, CURLM* multi, const Sender& sender, const Request& request,
                   Attempts& attempts)
    : easy_(easy),
      multi_(multi),
      sender_(sender),
      request_(request),
      attempts_(attempts),
      trace_{sender, attempts.noTicket},
      stall_(sender.settings.stallTimeout, sender.settings.leastSpeed) {
    headers_ = setHeaders(easy_, sender_, request_, attempts_.awaitsContinue);
    setMethod(easy_, sender_, request_);
    setSpeed(easy_, sender_, request_);
    setBuffers(easy_, sender_, request_);
    setCallbacks();
    const WayIn* wayIn = wayInTo(request_.url, sender_.settings);
    setWireTrace(easy_, trace_, wayIn && wayIn->connectionScheme == CURLAUTH_NEGOTIATE);
    setOption(easy_, CURLOPT_URL, request_.url.c_str());
    setOption(easy_, CURLOPT_ERRORBUFFER, static_cast<char*>(error_));
    const bool fresh = !attempts_.trustsConnections && !request_.policy.repeatable;
    setOption(easy_, CURLOPT_FRESH_CONNECT, fresh ? 1L : 0L);
    setOption(easy_, CURLOPT_MAXAGE_CONN,
              request_.policy.repeatable ? idleSecondsRepeatable : idleSecondsOnce);
    require(curl_multi_add_handle(multi, easy));
}

Transfer::~Transfer() {
    tellTraffic();
    curl_multi_remove_handle(multi_, easy_);
    curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, nullptr);  // its owner goes next
    curl_easy_setopt(easy_, CURLOPT_VERBOSE, 0L);           // and that of the trace
}

template <class Body>
bool Transfer::kept(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        failure_ = std::current_exception();
        return false;
    }
}

void Transfer::fail(Status status, std::string_view why) const {
    throw Failure(status, fmt::format("{} {}: {}.", request_.method, request_.url, why));
}

void Transfer::setCallbacks() {
    using Self = Transfer;
    const auto header = +[](char* line, size_t, size_t size, void* self) noexcept -> size_t {
        auto& transfer = *static_cast<Self*>(self);
        return transfer.kept([&] { return transfer.takeHeader({line, size}); }) ? size : 0;
    };
    const auto write = +[](char* piece, size_t, size_t size, void* self) noexcept -> size_t {
        auto& transfer = *static_cast<Self*>(self);
        if (transfer.mustWait()) return CURL_WRITEFUNC_PAUSE;
        return transfer.kept([&] { return transfer.takeBody({piece, size}); }) ? size : 0;
    };
    const auto read = +[](char* to, size_t, size_t room, void* self) noexcept -> size_t {
        auto& transfer = *static_cast<Self*>(self);
        if (transfer.mustHold()) return CURL_READFUNC_PAUSE;
        size_t size = CURL_READFUNC_ABORT;
        transfer.kept([&] { return size = transfer.request_.upload->read(to, room), true; });
        return size;
    };
    const auto rewind = +[](void* self, curl_off_t, int) noexcept -> int {
        auto& transfer = *static_cast<Self*>(self);
        const bool done = transfer.kept([&] { return transfer.request_.upload->rewind(), true; });
        return done ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
    };
    const auto begin = +[](void* self, char*, char*, int, int) noexcept -> int {
        auto& transfer = *static_cast<Self*>(self);
        const bool may = transfer.kept([&] { return transfer.beginAttempt(); });
        return may ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    };
    const auto open = +[](void* self, curlsocktype, curl_sockaddr* peer) noexcept {
        return static_cast<Self*>(self)->openSocket(*peer);
    };
    setOption(easy_, CURLOPT_OPENSOCKETFUNCTION, open);
    setOption(easy_, CURLOPT_OPENSOCKETDATA, this);
    setOption(easy_, CURLOPT_HEADERFUNCTION, header);
    setOption(easy_, CURLOPT_HEADERDATA, this);
    setOption(easy_, CURLOPT_WRITEFUNCTION, write);
    setOption(easy_, CURLOPT_WRITEDATA, this);
    setOption(easy_, CURLOPT_READFUNCTION, read);
    setOption(easy_, CURLOPT_READDATA, this);
    setOption(easy_, CURLOPT_SEEKFUNCTION, rewind);
    setOption(easy_, CURLOPT_SEEKDATA, this);
    setOption(easy_, CURLOPT_PREREQFUNCTION, begin);
    setOption(easy_, CURLOPT_PREREQDATA, this);
}

// What curl connects to: of a connection that fails it tells nothing else. A program that is
// started meanwhile, such as an editor, does not get the connection.
curl_socket_t Transfer::openSocket(const curl_sockaddr& peer) {
    peerPort_ = portOf(peer);
    return socket(peer.family, peer.socktype | SOCK_CLOEXEC, peer.protocol);
}

// The environment may name a proxy, and hosts that need none. Of a connection that was kept curl
// knows the port.
bool Transfer::viaProxy() const {
    long port = peerPort_;
    if (port == 0) curl_easy_getinfo(easy_, CURLINFO_PRIMARY_PORT, &port);
    const bool elsewhere = port > 0 && port != portOf(request_.url);
    return elsewhere || !sender_.credentials->proxy.empty();
}

// With the variable of the environment that names it, where one does.
void Transfer::failForProxy(std::string_view why) const {
    const auto variable =
        sender_.credentials->proxy.empty() ? proxyVariable(request_.url) : std::string_view();
    const std::string from = variable.empty() ? "" : fmt::format("; it is that of ${}", variable);
    fail(WEBLNK_PROXY_REFUSED, std::string(why) + from);
}

// curl sends a request again by itself when a kept connection ends without a byte of an answer. The
// server may have done its work all the same, so what must not be done twice ends here.
bool Transfer::beginAttempt() {
    lostConnection_ = lostConnection_ || (sent_ && !answered_);
    if (sent_ && !answered_ && !request_.policy.repeatable) {
        fail(WEBLNK_CUT_OFF, "the connection ended before the server answered");
    }
    // After a 417 curl goes on over the same connection, but some servers end it there, or still
    // wait for the body: the caller begins anew.
    if (sent_ && answer_.status == 417) return stop(Enough::expectRefused);
    sent_ = true;
    ++attempts_.requests;
    answered_ = headerEnded_ = false;
    return true;
}

bool Transfer::stop(Enough why) {
    enough_ = why;
    return false;
}

bool Transfer::takeHeader(std::string_view line) {
    headerBytes_ += line.size();
    if (headerBytes_ > mostHeaderBytes) fail(WEBLNK_BAD_ANSWER, "the answer's header has no end");
    if (line.starts_with("HTTP/")) {
        answered_ = true;
        headerEnded_ = bodyBegun_ = false;
        bodyBytes_ = 0;
        graceEnd_.reset();
        answer_ = Answer{};
        answer_.status = parseStatusLine(line).value_or(-1);
        answer_.url = request_.url;
        answer_.isFramed = line.starts_with("HTTP/2");
    }
    const bool isInterim = answer_.status >= 100 && answer_.status < 200;
    if (isInterim) interimBytes_ += line.size();
    if (line == "\r\n" || line == "\n") return endHeader();
    if (!line.starts_with("HTTP/")) answer_.headers.add(line);
    return true;
}

// Whether the server, having asked for Digest over a line that others may change, now asks for the
// password itself.
bool Transfer::isTalkedDown() {
    const bool digest = offersUsableDigest(answer_.headers);
    askedForDigest_ = askedForDigest_ || digest;
    return askedForDigest_ && !digest && request_.url.starts_with("http:");
}

bool Transfer::endHeader() {
    // Behind an interim answer the one that counts is still to come (RFC 9110, 15.2).
    headerEnded_ = !isInterim(answer_.status);
    const bool hasBody = answer_.status >= 200 && answer_.status != 204 && answer_.status != 304;
    if (hasBody && !parseFraming(answer_.headers).valid) {
        fail(WEBLNK_BAD_ANSWER, "the answer's length cannot be read");
    }
    // A server can find the credentials too old for ever, for which curl would always try anew.
    if (answer_.status == 401) {
        const bool talkedDown = isTalkedDown();
        if (++attempts_.challenges >= Attempts::mostChallenges || talkedDown) {
            return stop(Enough::lastChallenge);
        }
    }
    // lighttpd 1.4.69 announces chunks after OPTIONS on a missing member, and never sends one.
    const bool suffices = isSuccess() && request_.policy.headerSuffices;
    if (suffices && answer_.headers.has("Transfer-Encoding")) graceEnd_ = Clock::now() + tailGrace;
    return true;
}

// A paused stream would hold up the others of its HTTP/2 connection, on which somebody may wait:
// such a body is taken no further, which ends the transfer.
bool Transfer::mustWait() {
    paused_ = request_.sink && request_.sink->isFull() && !answer_.isFramed;
    return paused_;
}

bool Transfer::mustHold() {
    held_ = request_.upload->mustWait();
    return held_;
}

void Transfer::goOnSending() {
    if (!held_ || mustHold()) return;
    stall_ = StallWatch(sender_.settings.stallTimeout, sender_.settings.leastSpeed);
    curl_easy_pause(easy_, CURLPAUSE_CONT);
}

bool Transfer::takeBody(std::string_view piece) {
    bodyBytes_ += piece.size();
    if (request_.sink && isSuccess()) {
        if (request_.sink->isFull()) fail(WEBLNK_CUT_OFF, "nobody has asked for so much yet");
        if (!bodyBegun_) request_.sink->begin(answer_);
        bodyBegun_ = true;
        const uint64_t most = mostUnpacking * sender_.settings.mostListingBytes;
        if (isListing(request_) && bodyBytes_ > most && answer_.headers.has("Content-Encoding")) {
            fail(WEBLNK_BAD_ANSWER, "the answer is too long when it is unpacked");
        }
        request_.sink->write(piece);
        return true;
    }
    if (answer_.text.size() < keptText) {
        answer_.text += piece.substr(0, keptText - answer_.text.size());
    }
    return bodyBytes_ <= readText || stop(Enough::longText);
}

void Transfer::watch() {
    const Settings& settings = sender_.settings;
    if (settings.interrupted && settings.interrupted->load(std::memory_order_relaxed)) {
        if (!request_.policy.uninterrupted || Clock::now() - begun_ > graceTime) {
            fail(WEBLNK_INTERRUPTED, "interrupted");
        }
    }
    if (paused_ || held_) return;  // nobody waits for it yet, or who waits is the server
    if (sent_) watchSpeed();
    watchAnswer();
}

void Transfer::watchSpeed() {
    const auto moved = stall_.stalled(easy_, headerBytes_ - interimBytes_);
    if (!moved) return;
    const double limit = std::chrono::duration<double>(sender_.settings.stallTimeout).count();
    fail(WEBLNK_TIMED_OUT, *moved == 0
                               ? fmt::format("no byte moved for {:g} seconds", limit)
                               : fmt::format("only {} bytes moved in {:g} seconds", *moved, limit));
}

bool Transfer::movesContent() const {
    return request_.upload ? !request_.upload->finished() : request_.policy.content && bodyBegun_;
}

// What a person waits for may be large; any other answer that goes on for ever holds a command.
void Transfer::watchAnswer() {
    const auto limit = sender_.settings.answerTimeout;
    const auto now = Clock::now();
    if (movesContent()) waiting_ = now;
    if (now - waiting_ < limit) return;
    fail(WEBLNK_TIMED_OUT, fmt::format("the answer has not ended within {:g} seconds",
                                       std::chrono::duration<double>(limit).count()));
}

void Transfer::trace(CURLcode code) const {
    if (!logWanted(sender_.logger, vx::LOG_TRACE)) return;
    const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - begun_).count();
    const std::string end = code == CURLE_OK || enough_ != Enough::no
                                ? std::to_string(answer_.status)
                                : curl_easy_strerror(code);
    logLine(sender_.logger, vx::LOG_TRACE,
            fmt::format("{} {} {}, {} ms", request_.method, request_.url, end, took));
}

// With HTTP/2, libcurl 7.88 throws an answer away that comes together with the end of its stream
// (RFC 9113, 8.1), and alone of all that ends a stream tells no reason.
bool Transfer::isAnswerLost(CURLcode code) const {
    return code == CURLE_HTTP2_STREAM && error_[0] == '\0' && request_.upload && !answered_;
}

// curl has no memory for a line that is longer than it takes.
bool Transfer::headerTooLong(CURLcode code) const {
    curl_off_t firstByte = 0;  // microseconds until it came
    curl_easy_getinfo(easy_, CURLINFO_STARTTRANSFER_TIME_T, &firstByte);
    return code == CURLE_OUT_OF_MEMORY && sent_ && !headerEnded_ && firstByte > 0;
}

void Transfer::tellTraffic() const {
    if (!sender_.settings.traffic) return;
    curl_off_t up = 0, down = 0;
    long headersUp = 0, connections = 0;
    curl_easy_getinfo(easy_, CURLINFO_SIZE_UPLOAD_T, &up);
    curl_easy_getinfo(easy_, CURLINFO_SIZE_DOWNLOAD_T, &down);
    curl_easy_getinfo(easy_, CURLINFO_REQUEST_SIZE, &headersUp);
    curl_easy_getinfo(easy_, CURLINFO_NUM_CONNECTS, &connections);
    sender_.settings.traffic({.requests = static_cast<uint64_t>(attempts_.requests),
                              .roundTrips = 0,
                              .connections = static_cast<uint64_t>(connections),
                              .bytesUp = static_cast<uint64_t>(headersUp + up),
                              .bytesDown = headerBytes_ + static_cast<uint64_t>(down)});
}

void Transfer::failForPin() const {
    const auto shown = shownCertificate(easy_);
    fail(WEBLNK_OTHER_KEY,
         fmt::format("the server's public key is {}, and it was {} that you trusted; its "
                     "certificate now has the SHA-256 fingerprint {}",
                     shown ? shown->pin : "another one", sender_.settings.wayIn->pin,
                     shown ? shown->fingerprint : "unknown"));
}

void Transfer::judge(CURLcode code) {
    if (failure_) std::rethrow_exception(failure_);
    if (headerTooLong(code)) fail(WEBLNK_BAD_ANSWER, "a line of the answer's header is too long");
    const bool whole = enough_ == Enough::no;
    if (code == CURLE_SSL_PINNEDPUBKEYNOTMATCH) failForPin();
    if (code != CURLE_OK && whole) {
        auto failure = curlFailure(easy_, code, error_, sent_, viaProxy());
        const WayIn* wayIn = wayInTo(request_.url, sender_.settings);
        const bool isPinned = wayIn != nullptr && wayIn->certificate && !wayIn->pin.empty();
        if (isPinned && code == CURLE_SSL_CONNECT_ERROR) {
            failure.why += "; only who has the pinned key is shown your certificate";
        }
        const bool isSocket = wayIn != nullptr && !wayIn->unixSocket.empty();
        if (isSocket && failure.status == WEBLNK_NO_CONNECTION) {
            failure = {WEBLNK_DEAD_SOCKET, "nobody answers at the socket " + wayIn->unixSocket};
        }
        if (failure.status == WEBLNK_PROXY_REFUSED) failForProxy(failure.why);
        fail(failure.status, failure.why);
    }
    // curl takes an end inside or before the header for that of the answer.
    if (!headerEnded_ && whole) {
        fail(WEBLNK_CUT_OFF, "the connection ended before the answer's header did");
    }
    if (answer_.status == 407 && viaProxy()) {
        failForProxy("the proxy asks for other credentials" + proxySchemes(easy_));
    }
    if (request_.upload && isSuccess() && !request_.upload->finished()) {
        fail(WEBLNK_CUT_OFF, "the server answered before it had the whole content");
    }
    if (request_.sink && isSuccess() && !bodyBegun_) request_.sink->begin(answer_);  // empty body
}

Answer Transfer::end(CURLcode code) {
    if (graceEnd_ && Clock::now() >= *graceEnd_) enough_ = Enough::graceOver;
    trace(code);
    judge(code);
    return std::move(answer_);
}

void Transfer::resume() {
    if (!std::exchange(paused_, false)) return;
    stall_ = StallWatch(sender_.settings.stallTimeout, sender_.settings.leastSpeed);
    waiting_ = Clock::now();
    curl_easy_pause(easy_, CURLPAUSE_CONT);  // which hands out what it held back
    if (failure_) std::rethrow_exception(failure_);
}

}  // namespace vxhost
