#include "client/facts/look_at_collection.hpp"

#include <algorithm>
#include <utility>

#include "client/remote/quota.hpp"
#include "client/remote/resource.hpp"
#include "platform/base/status.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

// Ends the answer as soon as it is one, since it may be of a whole server.
class FirstPieceSink : public vxhost::BodySink {
public:
    void begin(const Answer& answer) override { status_ = answer.status; }
    void write(std::string_view) override {
        throw vxhost::Failure(vxhost::WEBLNK_BAD_ANSWER, "The beginning was enough.");
    }
    bool isListing() const { return status_ == 207; }

private:
    int32_t status_ = 0;
};

Error notListed(const Answer& answer) {
    Error error = refusal(answer);
    const bool isOther =
        vxhost::isSuccess(answer.status) || answer.status == 405 || answer.status == 501;
    if (isOther) {
        error.kind = Kind::refused;
        error.sentences = {"There is no WebDAV at this URL: the server answered a PROPFIND with " +
                           std::to_string(answer.status) +
                           ". Is it the URL of a collection, and is WebDAV enabled there?"};
    }
    return error;
}

}  // namespace

Task<Result<void>> lookAtCollection(Remote& remote, std::string url, ServerFacts* facts,
                                    CollectionState* state) {
    Request request = quotaRequest(std::move(url));
    const Result<Answer> properties = co_await remote.send(std::move(request));
    if (!properties) co_return properties.error();
    if (properties->status != 207) co_return notListed(*properties);
    try {
        const Quota quota = parseQuota(properties->text).value_or(Quota{});
        facts->quota = quota.available.has_value();
        if (state) *state = {.available = quota.available, .used = quota.used};
        if (!quota.isCollection) co_return localError(Kind::refused, "This is no collection.");
        co_return Result<void>();
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

Task<> tryDepthInfinity(Remote& remote, std::string url, ServerFacts* facts) {
    FirstPieceSink sink;
    Request request = vxhost::propertyRequest(std::move(url), "resourcetype");
    request.headers = {"Depth: infinity"};
    request.sink = &sink;
    const Result<Answer> ended = co_await remote.send(std::move(request));
    (void)ended;  // the sink knows
    facts->depthInfinity = sink.isListing();
}

Task<bool> tellsTags(Remote& remote, std::string url) {
    const Result<Members> members = co_await list(remote, std::move(url));
    co_return members&& std::ranges::any_of(
        members->resources, [](const Resource& each) { return !each.tag.text.empty(); });
}

}  // namespace quillon
