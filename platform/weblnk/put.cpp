#include "platform/http/exchange.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"

namespace vxhost {

void put(CurlClient& client, const vx::PutOptions& options, const vx::LockObject* lock,
         int32_t& status, vx::ReadCallback* callback) {
    Target& target = *client.target;
    refreshLocks(target);
    Request request = requestFor(target, "PUT");
    if (lock) request.headers.push_back(static_cast<const HeldLock*>(lock)->condition());
    if (options.flags & vx::PUT_ONLY_NEW) request.headers.push_back("If-None-Match: *");
    if ((options.flags & vx::PUT_IF_UNCHANGED) && !target.etag.empty()) {
        request.headers.push_back("If-Match: " + target.etag);
    }
    std::optional<uint64_t> announced;
    if (options.flags & vx::PUT_LENGTH_KNOWN) announced = options.contentLength;
    UploadSource source(target.settings, callback, announced);
    request.upload = &source;
    const Answer answer = exchange(target, std::move(request));
    status = answer.status;
    // What was stored is what the person has: another PUT must not take it for someone else's.
    if (isSuccess(status)) target.etag = parseStrongEtag(answer.headers.first("ETag"));
    if (status == 423) tellHolder(target, client.journalOr(callback->journal), answer);
}

}  // namespace vxhost
