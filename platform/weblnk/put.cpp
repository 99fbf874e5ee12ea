#include <fmt/format.h>

#include "platform/base/journal.hpp"
#include "platform/http/exchange.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/content_digest.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

// Whether it would overwrite what somebody else stored, as far as anybody can tell before.
bool isOvertaken(CurlClient& client, bool underLock, uint32_t flags) {
    switch (client.known.nextStep(underLock, flags)) {
        case PutStep::send:
            return false;
        case PutStep::refuse:
            return true;
        case PutStep::compareContent:
            return !sameContent(client);
    }
    return true;
}

std::vector<std::string> conditions(const KnownMember& known, const HeldLock* lock,
                                    uint32_t flags) {
    std::vector<std::string> lines;
    if (lock) lines.push_back(lock->condition(known.tagForLock()));
    if (flags & vx::PUT_ONLY_NEW) lines.push_back("If-None-Match: *");
    const auto tag = known.tagForMatch(lock != nullptr);
    if (tag && (flags & vx::PUT_IF_UNCHANGED)) lines.push_back("If-Match: " + tag->sent());
    return lines;
}

}  // namespace

void put(CurlClient& client, const vx::PutOptions& options, const vx::LockObject* lock,
         int32_t& status, vx::ReadCallback* callback) {
    Target& target = *client.target;
    const auto* held = static_cast<const HeldLock*>(lock);
    vx::Journal* journal = client.journalOr(callback->journal);
    refreshLocks(target);
    if (isOvertaken(client, held != nullptr, options.flags)) {
        journalSentence(journal, vx::JOURNAL_FAILURE,
                        fmt::format("PUT {}: what is there now is not what was there before, so "
                                    "that nothing more was sent.",
                                    target.url));
        status = 412;
        return;
    }
    Request request = changeRequest(target, "PUT");
    request.headers = conditions(client.known, held, options.flags);
    std::optional<uint64_t> announced;
    if (options.flags & vx::PUT_LENGTH_KNOWN) announced = options.contentLength;
    UploadSource source(target.settings, callback, announced);
    request.upload = &source;
    const Answer answer = exchange(target, std::move(request));
    status = answer.status;
    if (isSuccess(status)) {
        client.known.noteStored(parseEntityTag(answer.headers.first("ETag")));
    } else if (status == 412 && held) {
        client.known.notePutRefused();
        target.forsakenToken = held->token;
    }
    if (status == 423) tellHolder(target, journal, answer);
}

}  // namespace vxhost
