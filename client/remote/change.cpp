#include "client/remote/change.hpp"

#include <fmt/format.h>

#include <utility>
#include <vector>

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

// A 207 holds what was not done (RFC 4918, 9.6.1): the first of that, but for what failed because
// of something else, is the answer, and the first few are told.
Error partlyDone(Answer& answer) {
    std::vector<std::string> told;
    size_t refused = 0;
    int32_t first = 0;
    vxhost::MultistatusReader reader([&](const vxhost::MultistatusResponse& response) {
        const int32_t status = vxhost::parseStatusLine(response.status).value_or(200);
        if (vxhost::isSuccess(status)) return;
        const bool isCause = status != 424;
        if (first == 0 || (first == 424 && isCause)) first = status;
        if (!isCause || ++refused > mostRefusalsTold) return;
        told.push_back(fmt::format("{}: {}", response.href, answerText(status)));
    });
    reader.feed(answer.text);
    reader.finish();
    if (first == 0) return localError(Kind::local, {});  // all of it was done
    answer.status = first;
    Error error = refusal(answer);
    if (!told.empty()) error.sentences = std::move(told);
    error.sentences.insert(error.sentences.begin(), "A part of it was not done:");
    if (refused > mostRefusalsTold) {
        error.sentences.push_back(fmt::format("and {} more.", refused - mostRefusalsTold));
    }
    return error;
}

Result<void> resultOf(Result<Answer> answer) {
    if (!answer) return std::move(answer).error();
    if (answer->status != 207) {
        if (vxhost::isSuccess(answer->status)) return {};
        return refusal(*answer);
    }
    try {
        Error error = partlyDone(*answer);
        if (error.httpStatus == 0) return {};
        return error;
    } catch (const std::exception& thrown) {
        return requestError(thrown);
    }
}

Request transferOf(const char* method, std::string from, const std::string& to, Overwrite overwrite,
                   const Conditions& conditions) {
    Request request = changeOf(method, std::move(from), conditions);
    const std::string destination = vxhost::encodeForRequest(to);
    request.headers.push_back("Destination: " + destination);
    if (!conditions.lockThere.empty()) {
        const bool isMore = request.headers.front().starts_with("If:");
        if (!isMore) request.headers.insert(request.headers.begin(), "If:");
        request.headers.front() += fmt::format(" <{}> (<{}>)", destination, conditions.lockThere);
    }
    request.headers.emplace_back(overwrite == Overwrite::yes ? "Overwrite: T" : "Overwrite: F");
    if (request.url.ends_with('/')) request.headers.emplace_back("Depth: infinity");
    return request;
}

}  // namespace

Task<Result<void>> remove(Remote& remote, std::string url, Conditions conditions) {
    Request request = changeOf("DELETE", std::move(url), conditions);
    Request again = request;
    again.headers = headerLines(conditions);
    for (Request* each : {&request, &again}) {
        if (each->url.ends_with('/')) {
            each->headers.emplace_back("Depth: infinity");
        } else {
            each->policy = vxhost::removingMember;
        }
    }
    Result<void> removed = resultOf(co_await remote.send(std::move(request)));
    // nginx takes a URL with percent signs in the header for another one than that of the request.
    const bool isUnknown = !removed && removed.error().httpStatus == 423 &&
                           !conditions.lockToken.empty() && again.url.find('%') != again.url.npos;
    if (!isUnknown) co_return std::move(removed);
    co_return resultOf(co_await remote.send(std::move(again)));
}

Task<Result<void>> makeCollection(Remote& remote, std::string url) {
    if (!url.ends_with('/')) url += '/';
    Request request = changeOf("MKCOL", std::move(url));
    co_return resultOf(co_await remote.send(std::move(request)));
}

Task<Result<void>> copy(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions) {
    Request request = transferOf("COPY", std::move(from), to, overwrite, conditions);
    co_return resultOf(co_await remote.send(std::move(request)));
}

Task<Result<void>> move(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions) {
    Request request = transferOf("MOVE", std::move(from), to, overwrite, conditions);
    co_return resultOf(co_await remote.send(std::move(request)));
}

}  // namespace quillon
