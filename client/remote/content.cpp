#include "client/remote/content.hpp"

#include <fmt/format.h>

#include <utility>

#include "platform/base/status.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;

constexpr std::chrono::seconds leastAge{1};  // of a version whose tag no other one gets

// Passes a content on, and counts it.
class TakenBody : public vxhost::BodySink {
public:
    TakenBody(ContentTaker& taker, bool isRange) : taker_(taker), isRange_(isRange) {}

    void begin(const Answer& answer) override {
        // A part that was not asked for must not pass for the whole, nor a page about it.
        const bool isContent = answer.status == 200 || answer.status == 203 || answer.status == 204;
        if (!isContent && !(isRange_ && answer.status == 206)) {
            throw vxhost::Failure(
                vxhost::WEBLNK_BAD_ANSWER,
                fmt::format("GET {}: the server answered {}, which is not the content.", answer.url,
                            answer.status));
        }
        // What is coded on its way is not what is stored there.
        const std::string coding(answer.headers.first("Content-Encoding"));
        if (!coding.empty() && coding != "identity") {
            throw vxhost::Failure(
                vxhost::WEBLNK_BAD_ANSWER,
                fmt::format("GET {}: the server sends the content coded (Content-Encoding: {}), "
                            "though it was asked for as it is stored.",
                            answer.url, coding));
        }
        size_ = 0;
        taker_.announce(vxhost::parseFraming(answer.headers).length);
        taker_.begin();
    }
    void write(std::string_view piece) override {
        taker_.take(piece);
        size_ += piece.size();
    }
    bool restartable() const override { return true; }

    uint64_t size() const { return size_; }

private:
    ContentTaker& taker_;
    const bool isRange_;
    uint64_t size_ = 0;
};

Version versionOf(const vxhost::Headers& headers) {
    return {vxhost::parseEntityTag(headers.first("ETag")),
            parseTime(headers.first("Last-Modified")), parseTime(headers.first("Date"))};
}

Error cutOff(uint64_t came, uint64_t told) {
    Error error =
        localError(Kind::network, fmt::format("Only {} bytes came of {}. Try again.", came, told));
    error.code = static_cast<Code>(vxhost::WEBLNK_CUT_OFF);
    return error;
}

}  // namespace

std::string provenTag(const Version& version) {
    const bool settled =
        version.modified && version.date && *version.date - *version.modified > leastAge;
    return settled ? speltTag(version.tag) : std::string();
}

Task<Result<FetchedContent>> fetch(Remote& remote, std::string url, ContentTaker& taker,
                                   FetchWish wish) {
    TakenBody body(taker, !wish.range.empty());
    vxhost::Request request = vxhost::contentRequest(std::move(url));
    request.sink = &body;
    request.isLarge = wish.size.value_or(0) > largeContent;
    if (!wish.range.empty()) request.headers.push_back("Range: " + wish.range);
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    FetchedContent fetched{versionOf(answer->headers), body.size(), true};
    const bool proven = answer->isFramed || vxhost::parseFraming(answer->headers).provesEnd();
    if (!proven || answer->status == 204) {
        if (wish.size && *wish.size != body.size()) co_return cutOff(body.size(), *wish.size);
        fetched.endProven = wish.size.has_value();
    }
    co_return std::move(fetched);
}

Task<Result<Stored>> store(Remote& remote, std::string url, vxhost::UploadSource& content,
                           Conditions conditions, std::vector<std::string> extraHeaders) {
    vxhost::Request request;
    request.method = "PUT";
    request.url = std::move(url);
    request.policy = vxhost::changing;
    request.headers = headerLines(conditions);
    request.headers.insert(request.headers.end(), extraHeaders.begin(), extraHeaders.end());
    request.upload = &content;
    request.isLarge = content.length().value_or(largeContent + 1) > largeContent;
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    co_return Stored{answer->status == 201, versionOf(answer->headers)};
}

}  // namespace quillon
