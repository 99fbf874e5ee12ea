#include "platform/http/exchange.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/journal.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/engine.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

constexpr int mostHops = 5;

// What a server may have meant by a Location: nothing in it ends a line or a token of the request.
std::string cleaned(std::string_view location) {
    std::string url;
    for (const char c : location.substr(0, location.find('#'))) {
        if (c > ' ' && c != '\x7F') {
            url += c;
        } else {
            url += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        }
    }
    return url;
}

// Of a redirect that is not followed. A URL of another kind than http's is no advice.
Failure redirectRefused(const Request& request, const std::string& url) {
    const std::string what =
        fmt::format("{} {}: the server sends this request to {}", request.method, request.url, url);
    if (requestUrl(url).empty()) {
        return {WEBLNK_BAD_ANSWER, what + ", which is no http or https URL."};
    }
    return {WEBLNK_REDIRECTED_AWAY, what + "; give that URL if you trust it."};
}

std::string redirectTarget(const Request& request, const Answer& answer) {
    const auto location = answer.headers.first("Location");
    if (!isRedirect(answer.status) || location.empty()) return {};
    std::string url = withoutCredentials(resolve(request.url, cleaned(location)));
    if (sameOrigin(url, request.url)) return url;
    throw redirectRefused(request, url);
}

bool endsInSlash(std::string_view url) {
    return splitReference(url).path.ends_with('/');
}

bool follows(const Request& request, int32_t status, const std::string& url) {
    const bool toCollection = endsInSlash(url) && !endsInSlash(request.url);
    if (toCollection && request.policy.endsAtSlash) return false;
    const bool addsSlash = toCollection && sameResource(url, request.url);
    return request.policy.follows301 || status == 307 || status == 308 || addsSlash;
}

}  // namespace

void requireUsable(const std::string& url, std::string_view spelt) {
    if (url.empty()) {
        throw Failure(WEBLNK_BAD_URL, fmt::format("\"{}\" is no http or https URL.", spelt));
    }
    if (!hasDotSegment(splitReference(url).path)) return;
    throw Failure(WEBLNK_BAD_URL,
                  fmt::format("\"{}\" holds \".\" or \"..\", which are no names.", url));
}

const std::string& usableUrl(const Target& target) {
    requireUsable(target.url, target.spelt);
    return target.url;
}

Answer exchange(const Target& target, Request request) {
    return target.engine->perform(target, std::move(request));
}

Exchange::Exchange(const Sender& sender, Request request)
    : sender_(sender),
      request_(std::move(request)),
      url_(request_.url),
      ownHeaders_(request_.headers.size()) {}

template <class Body>
void Exchange::guardedly(Body&& body) noexcept {
    try {
        body();
    } catch (...) {
        transfer_.reset();
        failure_ = std::current_exception();
        over_ = true;
    }
}

bool Exchange::mayStandForRequest() const {
    return !failure_ && answer_.status != 401 && !isBusy(answer_.status);
}

std::optional<Exchange::Clock::time_point> Exchange::graceEnd() const {
    return transfer_ ? transfer_->graceEnd() : std::nullopt;
}

SpeedLimit* Exchange::speedLimit() const {
    if (sender_.settings.mostSpeed == 0) return nullptr;
    if (request_.upload) return &SpeedLimit::ofUploads();
    return request_.policy.content ? &SpeedLimit::ofDownloads() : nullptr;
}

Exchange::Clock::time_point Exchange::notBefore() const {
    const SpeedLimit* limit = speedLimit();
    return limit ? std::max(notBefore_, limit->notBefore()) : notBefore_;
}

void Exchange::noteSpeed() const {
    SpeedLimit* limit = speedLimit();
    if (!limit) return;
    curl_off_t up = 0, down = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &up);
    curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_DOWNLOAD_T, &down);
    limit->noteMoved(begun_, static_cast<uint64_t>(request_.upload ? up : down),
                     sender_.settings.mostSpeed);
}

void Exchange::begin(EasyPtr easy, CURLM* multi, bool trustsConnections) {
    guardedly([&] {
        if (request_.sink) {
            const auto more = request_.sink->continuation();
            request_.headers.resize(ownHeaders_);
            request_.headers.insert(request_.headers.end(), more.begin(), more.end());
        }
        easy_ = std::move(easy);
        attempts_.requests = 0;
        begun_ = Clock::now();
        attempts_.trustsConnections = trustsConnections;
        setOption(easy_.get(), CURLOPT_PRIVATE, this);
        transfer_.emplace(easy_.get(), multi, sender_, request_, attempts_);
    });
}

void Exchange::breakOff() {
    transfer_.reset();
    easy_.reset();
}

void Exchange::resume() {
    if (transfer_) transfer_->resume();
}

void Exchange::goOnSending() {
    if (transfer_) transfer_->goOnSending();
}

void Exchange::watch() noexcept {
    guardedly([this] {
        if (transfer_) return transfer_->watch();
        if (!over_ && !request_.policy.uninterrupted) throwIfInterrupted(sender_.settings);
    });
}

EasyPtr Exchange::end(CURLcode code, Authentication& authentication) noexcept {
    guardedly([&] {
        try {
            if (transfer_->isAnswerLost(code)) return askAlone();
            settle(endAttempt(code, authentication), authentication);
        } catch (const Failure& failure) {
            const bool may = repeats_ && prepareRepeat(failure.status());
            const auto wait = may ? repeats_->next({}) : std::nullopt;
            if (!wait) throw;
            tryAgain(failure.what(), *wait);
        }
    });
    return std::move(easy_);
}

Answer Exchange::endAttempt(CURLcode code, Authentication& authentication) {
    lostConnection_ = transfer_->lostConnection();
    authentication.noteChallenges(easy_.get(), transfer_->askedForDigest());
    noteSpeed();
    const struct Release {
        ~Release() { transfer.reset(); }
        std::optional<Transfer>& transfer;
    } release{transfer_};
    return transfer_->end(code);
}

// A server that needs no whole body for its answer has stored none: it says so once more, and to a
// request that waits for 100 Continue.
void Exchange::askAlone() {
    noteSpeed();
    transfer_.reset();
    lostConnection_ = false;
    request_.isLarge = true;
    request_.upload->rewind();
    restart("its answer was lost");
}

// What never found a connection was not done, whatever it is.
bool Exchange::prepareRepeat(Status failure) {
    if (failure == WEBLNK_NO_CONNECTION || failure == WEBLNK_DEAD_SOCKET) {
        if (request_.upload) request_.upload->rewind();
    } else if (failure != WEBLNK_CUT_OFF || !request_.policy.repeatable) {
        return false;
    }
    const BodySink* sink = request_.sink;
    return !sink || sink->restartable() || !sink->continuation().empty();
}

void Exchange::settle(Answer answer, Authentication& authentication) {
    UploadSource* upload = request_.upload;
    foundServerBusy_ = isBusy(answer.status);
    if (answer.status != 401) authentication.learn(easy_.get());
    if (answer.status == 417 && upload && attempts_.awaitsContinue) {
        attempts_.awaitsContinue = false;
        upload->rewind();
        restart("417");
    } else if (answer.status == 411 && upload && !upload->length()) {
        // It takes no chunks, and stored nothing (RFC 9110, 15.5.12).
        upload->measure();
        restart("411");
    } else if (answer.status == 401) {
        settleChallenge(std::move(answer), authentication);
    } else if (isBusy(answer.status) && request_.policy.repeatable && repeats_) {
        settleBusy(std::move(answer));
    } else {
        follow(std::move(answer));
    }
}

// A server may begin anew (another key for its nonces, another scheme): what was known of it is
// then worthless, and a 401 says that nothing was done yet.
void Exchange::settleChallenge(Answer answer, Authentication& authentication) {
    if (authentication.isByHeader()) {
        throw Failure(WEBLNK_HEADER_REFUSED,
                      fmt::format("{} {}: the server refuses what a header of yours gives as "
                                  "Authorization.",
                                  request_.method, request_.url));
    }
    const bool mayAskAgain = attempts_.challenges < Attempts::mostChallenges;
    const bool wasKnown = authentication.isBearer()
                              ? attempts_.challenges == 1 && authentication.renewToken(begun_)
                              : authentication.forget();
    if (mayAskAgain && (wasKnown || authentication.fallBackToBasic(answer.headers))) {
        if (request_.upload) request_.upload->rewind();
        return restart("401");
    }
    if (authentication.isOfConnection()) requireOffered(authentication.schemeName(), answer);
    if (authentication.usesTicket()) failForTicket();
    if (!authentication.isGiven()) answer.unknownSchemes = unknownSchemes(answer.headers);
    // Who refuses what was sent may say no more.
    const bool wasSent = attempts_.challenges > 1;
    if (wasSent && answer.unknownSchemes == "") answer.unknownSchemes.reset();
    if (answer.unknownSchemes && sender_.settings.unknownSchemes) {
        sender_.settings.unknownSchemes(*answer.unknownSchemes);
    }
    if (authentication.refusesOfferedBasic(easy_.get())) {
        journalSentence(
            sender_.journal, vx::JOURNAL_FAILURE,
            fmt::format("{} {}: this server asked for Digest before, and asks for Basic now, which "
                        "would send the password in clear. Somebody on the line may want it; it "
                        "was not sent.",
                        request_.method, request_.url));
    }
    finish(std::move(answer));
}

// No password and no ticket helps where the server does not know what to do with them.
void Exchange::requireOffered(std::string_view scheme, const Answer& refusal) const {
    const std::string offered = offeredSchemes(refusal.headers);
    if (offered.empty() || offersScheme(refusal.headers, scheme)) return;
    throw Failure(WEBLNK_OTHER_SCHEMES,
                  fmt::format("{} {}: the server does not offer {}; it takes logins by {}.",
                              request_.method, request_.url, scheme, offered));
}

// The service is named as libcurl asks for a ticket to it.
void Exchange::failForTicket() const {
    const std::string service = fmt::format("HTTP@{}", hostOf(request_.url));
    const std::string why =
        attempts_.noTicket.empty()
            ? fmt::format("the server does not take your Kerberos ticket for {}", service)
            : fmt::format("there is no Kerberos ticket for {} ({})", service, attempts_.noTicket);
    throw Failure(WEBLNK_TICKET_REFUSED,
                  fmt::format("{} {}: {}.", request_.method, request_.url, why));
}

void Exchange::settleBusy(Answer answer) {
    const auto asked =
        parseRetryAfter(answer.headers.first("Retry-After"), std::chrono::system_clock::now());
    const auto wait = repeats_->next(asked);
    if (!wait) return finish(std::move(answer));
    tryAgain(std::to_string(answer.status), *wait);
}

void Exchange::follow(Answer answer) {
    std::string url = redirectTarget(request_, answer);
    if (url.empty() || !follows(request_, answer.status, url)) return finish(std::move(answer));
    if (hops_++ == mostHops) {
        throw Failure(WEBLNK_BAD_ANSWER, fmt::format("{} {}: more than {} redirects.",
                                                     request_.method, url_, mostHops));
    }
    logLine(sender_.logger, vx::LOG_TRACE, request_.url + " redirects to " + url);
    request_.url = std::move(url);
    attempts_.challenges = 0;
    if (request_.upload) request_.upload->rewind();
}

void Exchange::restart(std::string_view why) {
    logLine(sender_.logger, vx::LOG_TRACE,
            fmt::format("{} {} again: {}", request_.method, request_.url, why));
}

void Exchange::tryAgain(std::string_view why, std::chrono::milliseconds wait) {
    restart(why);
    attempts_.challenges = 0;
    notBefore_ = Clock::now() + wait;
}

void Exchange::finish(Answer answer) {
    answer_ = std::move(answer);
    over_ = true;
}

Answer Exchange::take() {
    if (failure_) std::rethrow_exception(failure_);
    return std::move(answer_);
}

}  // namespace vxhost
