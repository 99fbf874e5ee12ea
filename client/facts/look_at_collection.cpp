#include "client/facts/look_at_collection.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "client/remote/resource.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/multistatus_reader.hpp"
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

Request quotaRequest(std::string url) {
    std::string document =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:propfind xmlns:D=\"DAV:\"><D:prop>"
        "<D:resourcetype/><D:quota-available-bytes/><D:quota-used-bytes/></D:prop>"
        "</D:propfind>";
    Request request = vxhost::propertiesRequest(std::move(url), 0, std::move(document));
    request.isStreamed = false;
    return request;
}

Result<void> noteQuota(const std::string& multistatus, ServerFacts& facts, CollectionState* state) {
    CollectionState found;
    bool isCollection = false;
    try {
        vxhost::MultistatusReader reader(
            [&](const vxhost::MultistatusResponse& response) {
                isCollection = response.isCollection;
                found.available = vxhost::parseNumber<uint64_t>((*response.others)[0]);
                found.used = vxhost::parseNumber<uint64_t>((*response.others)[1]);
            },
            {}, {"DAV:\nquota-available-bytes", "DAV:\nquota-used-bytes"});
        reader.feed(multistatus);
        reader.finish();
    } catch (const vxhost::Failure& failure) {
        return requestError(failure);
    }
    facts.quota = found.available.has_value();
    if (state) *state = found;
    if (!isCollection) return localError(Kind::refused, "This is no collection.");
    return {};
}

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
    co_return noteQuota(properties->text, *facts, state);
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
