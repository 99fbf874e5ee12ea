#include <fmt/format.h>

#include <exception>
#include <optional>
#include <utility>

#include "platform/base/journal.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
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

enum class CutPut : uint8_t { stored, notStored, conflict, unknown };

// What came of a PUT that was cut off. As long as the lock is there nobody else can have written:
// what is there is the old content, or ours. sentTag: that was its condition, and is refused once
// ours is stored.
CutPut findOutcome(const HeldLock& lock, const std::optional<EntityTag>& sentTag,
                   UploadSource& source, Headers& stored) {
    const Target& target = *lock.target;
    const auto isLocked = lock.isThere();
    if (isLocked == true) {
        if (!sentTag) return CutPut::notStored;
        const Answer head = exchange(target, headRequest(usableUrl(target)));
        const EntityTag now = parseMemberState(head.headers).tag;
        if (isSuccess(head.status) && now.text == sentTag->text) return CutPut::notStored;
    }
    DigestingSink sink;
    Request request = contentRequest(usableUrl(target));
    request.sink = &sink;
    const Answer found = exchange(target, std::move(request));
    if (found.status == 200 && sink.digest() == digestOf(source)) {
        stored = found.headers;
        return CutPut::stored;
    }
    return isLocked ? CutPut::conflict : CutPut::unknown;
}

// What was cut off under a lock is sent once more where that is safe; a conflict ends as a 412
// does.
Answer send(const CurlClient& client, const Request& request, const HeldLock* lock) {
    const Target& target = *client.target;
    std::exception_ptr cut;
    try {
        return exchange(target, request);
    } catch (const Failure& failure) {
        const bool cutOff = failure.status() == WEBLNK_CUT_OFF && !request.upload->hasFailed();
        if (!cutOff || !lock) throw;
        logLine(target.logger, vx::LOG_FAILURE, failure.what());
        cut = std::current_exception();
    }
    auto tag = client.known.tagForLock();
    if (!tag) tag = client.known.tagForMatch(true);
    Answer answer;
    switch (findOutcome(*lock, tag, *request.upload, answer.headers)) {
        case CutPut::stored:
            answer.status = 204;
            return answer;
        case CutPut::conflict:
            answer.status = 412;
            return answer;
        case CutPut::unknown:
            std::rethrow_exception(cut);
        case CutPut::notStored:
            break;
    }
    request.upload->rewind();
    return exchange(target, request);
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
    CallbackUpload source(target.settings, callback, announced);
    request.upload = &source;
    const Answer answer = send(client, request, held);
    status = answer.status;
    if (isSuccess(status)) {
        client.known.noteStored(parseEntityTag(answer.headers.first("ETag")));
    } else if (status == 412 && held) {
        client.known.notePutRefused();
        target.forsakenToken = held->token;
    }
    if (status == 423) tellHolderOfMember(target, journal, answer);
}

}  // namespace vxhost
