#include "platform/http/exchange.hpp"

#include <fmt/format.h>

#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/repeats.hpp"
#include "platform/http/session.hpp"
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
    if (toCollection && request.endsAtSlash) return false;
    const bool addsSlash = toCollection && sameResource(url, request.url);
    return request.follows301 || status == 307 || status == 308 || addsSlash;
}

bool mayRepeat(const Request& request, Status failure) {
    const bool connectionFailed = failure == WEBLNK_NO_CONNECTION || failure == WEBLNK_CUT_OFF;
    return request.repeatable && connectionFailed && (!request.sink || request.sink->restartable());
}

Answer sendRepeating(const Target& target, const Request& request, Repeats& repeats) {
    for (;;) {
        try {
            Answer answer = target.session->send(target, request);
            const bool busy = answer.status == 429 || answer.status == 503;
            if (!busy || !request.repeatable) return answer;
            const auto asked = parseRetryAfter(answer.headers.first("Retry-After"),
                                               std::chrono::system_clock::now());
            if (!repeats.wait(asked)) return answer;
        } catch (const Failure& failure) {
            if (!mayRepeat(request, failure.status()) || !repeats.wait({})) throw;
            logLine(target.logger, vx::LOG_TRACE, failure.what());
        }
        logLine(target.logger, vx::LOG_TRACE, request.method + ' ' + request.url + " again");
    }
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

Request requestFor(const Target& target, std::string_view method) {
    requireUsable(target.url, target.spelt);
    Request request;
    request.method = method;
    request.url = target.url;
    return request;
}

Answer exchange(const Target& target, Request request) {
    Repeats repeats(target.settings);
    for (int hops = 0;; ++hops) {
        Answer answer = sendRepeating(target, request, repeats);
        std::string url = redirectTarget(request, answer);
        if (url.empty() || !follows(request, answer.status, url)) return answer;
        if (hops == mostHops) {
            throw Failure(WEBLNK_BAD_ANSWER, fmt::format("{} {}: more than {} redirects.",
                                                         request.method, target.url, mostHops));
        }
        logLine(target.logger, vx::LOG_TRACE, request.url + " redirects to " + url);
        request.url = std::move(url);
        if (request.upload) request.upload->rewind();
    }
}

}  // namespace vxhost
