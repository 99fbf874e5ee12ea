#include "client/remote/quota.hpp"

#include <utility>

#include "client/remote/listing_answer.hpp"
#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/multistatus_reader.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

// Servers without a limit tell negative numbers, which are no quota.
std::optional<uint64_t> bytesIn(std::string_view text) {
    return vxhost::parseNumber<uint64_t>(vxhost::trim(text));
}

}  // namespace

vxhost::Request quotaRequest(std::string url) {
    std::string document =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:propfind xmlns:D=\"DAV:\"><D:prop>"
        "<D:resourcetype/><D:quota-available-bytes/><D:quota-used-bytes/></D:prop></D:propfind>";
    vxhost::Request request = vxhost::propertiesRequest(std::move(url), 0, std::move(document));
    request.isStreamed = false;
    return request;
}

std::optional<Quota> parseQuota(const std::string& document) {
    Quota quota;
    bool isMultistatus = false;
    const auto take = [&quota](const vxhost::MultistatusResponse& response) {
        quota = {bytesIn((*response.others)[0]), bytesIn((*response.others)[1]),
                 response.isCollection};
    };
    const auto takeRoot = [&isMultistatus](std::string_view root) {
        isMultistatus = vxhost::davName(root) == "multistatus";
    };
    vxhost::MultistatusReader reader(take, takeRoot,
                                     {"DAV:\nquota-available-bytes", "DAV:\nquota-used-bytes"});
    reader.feed(document);
    reader.finish();
    return isMultistatus ? std::optional(quota) : std::nullopt;
}

Task<Result<Quota>> askQuota(Remote& remote, std::string url) {
    vxhost::Request request = quotaRequest(std::move(url));
    Result<vxhost::Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    if (!mayBeMultistatus(*answer)) co_return notMultistatus(*answer);
    try {
        const std::optional<Quota> quota = parseQuota(answer->text);
        if (!quota) co_return notMultistatus(*answer);
        co_return *quota;
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

}  // namespace quillon
