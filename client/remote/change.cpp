#include "client/remote/change.hpp"

#include <fmt/format.h>

#include <optional>
#include <utility>
#include <vector>

#include "client/address.hpp"
#include "client/remote/confirm.hpp"
#include "client/remote/resource.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/multistatus_reader.hpp"
#include "platform/text/http_status.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

Request changeOf(const char* method, std::string url,
                 const Conditions& conditions = unconditional) {
    Request request;
    request.method = method;
    request.url = std::move(url);
    request.policy = vxhost::changing;
    request.headers = headerLines(conditions, vxhost::encodeForRequest(request.url));
    return request;
}

constexpr size_t mostRefusalsTold = 5;

// A 207 holds what was not done (RFC 4918, 9.6.1), and with some servers a 424 why nothing was: the
// first of that, but for what failed because of something else, is the answer, and the first few
// are told. Nothing where it holds none.
std::optional<Error> partlyDone(const Remote& remote, Answer& answer) {
    std::vector<std::string> told, locked;
    size_t refused = 0;
    int32_t first = 0;
    vxhost::MultistatusReader reader([&](const vxhost::MultistatusResponse& response) {
        const int32_t status = vxhost::parseStatusLine(response.status).value_or(200);
        if (vxhost::isSuccess(status)) return;
        const bool isCause = status != 424;
        if (first == 0 || (first == 424 && isCause)) first = status;
        if (!isCause || ++refused > mostRefusalsTold) return;
        told.push_back(fmt::format("{}: {}", response.href, answerText(status)));
        std::string url = vxhost::encodeForRequest(vxhost::resolve(answer.url, response.href));
        const bool isHere = vxhost::sameOrigin(url, remote.origin());
        if (status == 423 && isHere) locked.push_back(std::move(url));
    });
    reader.feed(answer.text);
    reader.finish();
    if (first == 0) return std::nullopt;
    const bool isWhole = std::exchange(answer.status, first) == 424;
    Error error = refusal(answer);
    error.locked = std::move(locked);
    if (told.empty()) {
        told = std::move(error.sentences);
        error.sentences.clear();
    }
    if (first != 423) error.sentences.clear();
    error.sentences.emplace_back(isWhole ? "Nothing of it was done, because of this:"
                                         : "A part of it was not done:");
    for (std::string& each : told) error.sentences.push_back(std::move(each));
    if (refused > mostRefusalsTold) {
        error.sentences.push_back(fmt::format("and {} more.", refused - mostRefusalsTold));
    }
    return error;
}

Result<void> resultOf(const Remote& remote, Result<Answer> answer) {
    if (!answer) return std::move(answer).error();
    const bool isWhole = answer->status == 424;
    if (answer->status != 207 && !isWhole) {
        if (vxhost::isSuccess(answer->status)) return {};
        return refusal(*answer);
    }
    Error whole = refusal(*answer);
    try {
        std::optional<Error> error = partlyDone(remote, *answer);
        if (error) return std::move(*error);
        return isWhole ? Result<void>(std::move(whole)) : Result<void>();
    } catch (const std::exception& thrown) {
        return isWhole ? std::move(whole) : requestError(thrown);  // a page, as likely
    }
}

// url: of what is there afterwards, or is not.
Task<Result<void>> change(Remote& remote, Request request, std::string url, bool isThere) {
    Result<Answer> answer = co_await remote.send(std::move(request));
    const bool isUnsure = answer && isDoubtful(*answer);
    Result<void> changed = resultOf(remote, std::move(answer));
    if (!changed || !isUnsure) co_return std::move(changed);
    co_return co_await confirm(remote, std::move(url), isThere);
}

Request transferOf(const char* method, std::string from, const std::string& to, Overwrite overwrite,
                   const Conditions& conditions) {
    Request request = changeOf(method, std::move(from), conditions);
    request.headers.push_back("Destination: " + vxhost::encodeForRequest(to));
    request.headers.emplace_back(overwrite == Overwrite::yes ? "Overwrite: T" : "Overwrite: F");
    if (request.url.ends_with('/')) request.headers.emplace_back("Depth: infinity");
    return request;
}

}  // namespace

Task<Result<void>> remove(Remote& remote, std::string url, Conditions conditions) {
    Request request = changeOf("DELETE", url, conditions);
    Request again = request;
    again.headers = headerLines(conditions);
    for (Request* each : {&request, &again}) {
        if (each->url.ends_with('/')) {
            each->headers.emplace_back("Depth: infinity");
        } else {
            each->policy = vxhost::removingMember;
        }
    }
    Result<void> removed = co_await change(remote, std::move(request), url, false);
    // nginx takes a URL with percent signs in the header for another one than that of the request,
    // and a list without URLs has no place for other locks.
    const bool isUnknown = !removed && removed.error().httpStatus == 423 &&
                           !conditions.lockToken.empty() && conditions.otherLocks.empty() &&
                           again.url.find('%') != again.url.npos;
    if (!isUnknown) co_return std::move(removed);
    co_return co_await change(remote, std::move(again), std::move(url), false);
}

Task<Result<void>> makeCollection(Remote& remote, std::string url) {
    if (!url.ends_with('/')) url += '/';
    Request request = changeOf("MKCOL", url);
    co_return co_await change(remote, std::move(request), std::move(url), true);
}

Task<Result<void>> findPlace(Remote& remote, std::string url) {
    const Result<Address> address = Address::parse(url);
    if (!address) co_return address.error();
    std::string above = address->parent().url();
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(above));
    if (!found || (*found && (*found)->isCollection)) co_return Result<void>();
    Error error = localError(Kind::notFound, "There is no collection to make it in.");
    error.httpStatus = 409;
    co_return std::move(error);
}

Task<Result<void>> copy(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions) {
    Request request = transferOf("COPY", std::move(from), to, overwrite, conditions);
    co_return co_await change(remote, std::move(request), std::move(to), true);
}

Task<Result<void>> move(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions) {
    Request request = transferOf("MOVE", from, to, overwrite, conditions);
    co_return co_await change(remote, std::move(request), std::move(from), false);
}

}  // namespace quillon
