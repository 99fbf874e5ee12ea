#include "client/facts/scratch_member.hpp"

#include <utility>

#include "client/facts/scratch_name.hpp"
#include "client/remote/resource.hpp"
#include "platform/base/logger.hpp"
#include "platform/text/http_status.hpp"
#include "platform/text/url.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

constexpr vxhost::Policy storing{.uninterrupted = true};
constexpr vxhost::Policy removing{.repeatable = true, .uninterrupted = true, .endsAtSlash = true};

Request removalOf(std::string url, const Conditions& conditions) {
    Request request;
    request.method = "DELETE";
    request.url = std::move(url);
    request.policy = removing;
    request.headers = headerLines(conditions);
    return request;
}

}  // namespace

ScratchMember::ScratchMember(Remote& remote, const std::string& collectionUrl)
    : remote_(remote), url_(collectionUrl + scratchName()) {}

Request ScratchMember::put(ProbeBody& body, const Conditions& conditions) const {
    Request request;
    request.method = "PUT";
    request.url = url_;
    request.policy = storing;
    request.headers = headerLines(conditions);
    request.upload = &body;
    return request;
}

Request ScratchMember::putHeld(ProbeBody& body, const Conditions& conditions) const {
    Request request = put(body, conditions);
    request.isLarge = true;
    return request;
}

Request ScratchMember::get() const {
    Request request = vxhost::contentRequest(url_);
    request.isStreamed = false;
    return request;
}

Request ScratchMember::remove(const Conditions& conditions) const {
    return removalOf(url_, conditions);
}

Task<> ScratchMember::removeAtTheEnd(std::string lockToken) const {
    const Conditions conditions{.lockToken = std::move(lockToken)};
    Request request = remove(conditions);
    const Result<Answer> removed = co_await remote_.send(std::move(request));
    const bool isGone = removed && (vxhost::isSuccess(removed->status) || removed->status == 404);
    if (isGone) co_return;
    vxhost::logLine(vxhost::findLogger(U"App.WebDAV.quillon"), vx::LOG_FAILURE,
                    url_ + " may have stayed on the server, and can be removed.");
}

Task<> removeLeftScratches(Remote& remote, std::string collectionUrl) {
    const Result<Members> members = co_await list(remote, collectionUrl);
    if (!members) co_return;
    for (const Resource& each : members->resources) {
        if (each.isCollection || !isLeftScratch(vxhost::decodeSegment(each.segment))) continue;
        Request request = removalOf(collectionUrl + each.segment, unconditional);
        const Result<Answer> removed = co_await remote.send(std::move(request));
        (void)removed;
    }
}

}  // namespace quillon
