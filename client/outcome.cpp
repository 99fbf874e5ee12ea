#include "client/outcome.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/status.hpp"

namespace quillon {
namespace {

using vx::Status;

Heard& heard() {
    thread_local Heard record;
    return record;
}

// Statuses of the extension that only say that a step beneath it failed.
bool isSummary(Status status) {
    return status == vx::QUILLON_REQUEST_FAILED || status == vx::QUILLON_NO_FILE_HANDLE ||
           status == vx::QUILLON_UNEXPECTED_STATUS || status == vx::QUILLON_LOCK_FAILED;
}

// What is beneath a summary; where no request failed, an answer that was complained of.
Status causeOf(Status status, const Heard& last, const vxhost::UserJournal& journal) {
    if (isSummary(status) && last.failure != vx::VX_SUCCESS) return last.failure;
    const bool complained = last.refusal == 0 && !journal.sentences().empty();
    return status == vx::QUILLON_REQUEST_FAILED && complained ? vx::QUILLON_BAD_RESPONSE : status;
}

// The status whose text fits the answer better than that of a summary; 0: none does.
Status namesakeOf(int httpStatus) {
    switch (httpStatus) {
        case 401:
            return vx::QUILLON_NOT_AUTHORIZED;
        case 423:
            return vx::QUILLON_LOCKED;
        case 507:
            return vx::QUILLON_INSUFFICIENT_STORAGE;
    }
    return vx::VX_SUCCESS;
}

std::string explanation(Status cause, const Heard& last) {
    const bool isAnswers = isSummary(cause) || cause == vxhost::WEBLNK_REFUSED;
    if (isAnswers && last.refusal != 0) return explainAnswer(last.refusal, last.unknownSchemes);
    if (cause == vx::QUILLON_NOT_AUTHORIZED) return explainAnswer(401, last.unknownSchemes);
    return vxhost::statusText(cause);
}

// With whose lock it is, where one is in the way.
std::string explanationWithLock(Status cause, const Heard& last) {
    std::string text = explanation(cause, last);
    const bool isLocked = text == vxhost::statusText(vx::QUILLON_LOCKED);
    if (isLocked && !last.lockSentence.empty()) return last.lockSentence;
    const bool own = std::ranges::any_of(last.locks, [](auto& lock) { return !lock.taken; });
    if (own && isLocked) {
        return "It is a lock under your own name: of another program of yours, or left over.";
    }
    return text;
}

// "GET method failed. Status = -1", "GET URL: the server answered 403.": the last sentence says
// more. A listing says of every refused HEAD that there is no such collection.
bool tellsBareStatus(const std::string& text, int refusal) {
    if (text == "Collection URL does not exist.") return refusal != 404;
    return text.find("Status = ") != std::string::npos ||
           text.ends_with(fmt::format(": the server answered {}.", refusal));
}

std::vector<std::string> sentencesOf(vxhost::UserJournal& journal, Status status, int refusal,
                                     const std::string& detail, std::string last) {
    const std::string summary = vxhost::statusText(status);
    std::vector<std::string> sentences;
    for (vxhost::Sentence& sentence : journal.take()) {
        const bool told = sentence.text == last || sentence.text == summary ||
                          tellsBareStatus(sentence.text, refusal) ||
                          std::count(sentences.begin(), sentences.end(), sentence.text) > 0;
        if (sentence.severity >= vx::JOURNAL_FAILURE && !told) {
            sentences.push_back(std::move(sentence.text));
        }
    }
    if (sentences.empty() && !detail.empty()) sentences.push_back(detail);
    sentences.push_back(std::move(last));
    return sentences;
}

}  // namespace

std::string explainAnswer(int httpStatus, const std::optional<std::string>& unknownSchemes) {
    if (httpStatus == 401 && unknownSchemes) {
        const std::string offer =
            unknownSchemes->empty()
                ? "wants a login, and names no way to log in that can be read; quillon knows"
                : fmt::format("takes logins by {}, but quillon knows only", *unknownSchemes);
        return fmt::format(
            "The server {} Basic and Digest (with MD5 or SHA-256) by itself. Negotiate and NTLM it "
            "uses where it is told to, Bearer where it has a token.",
            offer);
    }
    const Status namesake = namesakeOf(httpStatus);
    return namesake != vx::VX_SUCCESS ? vxhost::statusText(namesake) : answerText(httpStatus);
}

void hear(const vxhost::RequestEnd& end) {
    if (end.result != vx::VX_SUCCESS) heard().failure = end.result;
    if (end.httpStatus >= 300) heard().refusal = end.httpStatus;
}

bool hasTimedOut() {
    return heard().failure == vxhost::WEBLNK_TIMED_OUT;
}

void noteStrayLock(const vxhost::StrayLock& lock) {
    if (!lock.sentence.empty()) {
        heard().lockSentence = lock.sentence;
        return;
    }
    StrayLock stray{std::string(lock.url), std::string(lock.token), lock.taken};
    std::vector<StrayLock>& known = heard().locks;
    if (std::ranges::count(known, stray) == 0) known.push_back(std::move(stray));
}

void noteUnknownSchemes(std::string_view schemes) {
    heard().unknownSchemes = schemes;
}

std::string detailOf(Status cause) {
    const vxhost::LastFailure& latest = vxhost::lastFailure();
    const bool tells = latest.status == cause && kindOf(static_cast<Code>(cause), 0) == Kind::local;
    return tells && !latest.detail.empty() ? latest.detail + "." : std::string();
}

vx::Journal* begin(vxhost::UserJournal& journal) {
    journal.take();
    heard() = {};
    vxhost::lastFailure() = {};
    return &journal;
}

Error failure(Status status, vxhost::UserJournal& journal) {
    const Heard& last = heard();
    const Status cause = causeOf(status, last, journal);
    Error error;
    error.httpStatus = last.refusal;
    error.code = static_cast<Code>(cause);
    error.kind = kindOf(error.code, error.httpStatus);
    const bool isUnknown = last.unknownSchemes && error.kind == Kind::notAuthorized;
    if (isUnknown) error.code = Code::otherSchemes;
    error.sentences = sentencesOf(journal, status, last.refusal, detailOf(cause),
                                  explanationWithLock(cause, last));
    error.locks = last.locks;
    return error;
}

Result<void> outcome(Status status, vxhost::UserJournal& journal) {
    if (status == vx::VX_SUCCESS) return {};
    return failure(status, journal);
}

Error thrownError(const std::exception& thrown) {
    const auto* failed = dynamic_cast<const vxhost::Failure*>(&thrown);
    if (failed != nullptr && failed->status() == vxhost::WEBLNK_INTERRUPTED) return interruption();
    return localError(Kind::local, std::string(thrown.what()) + ".");
}

}  // namespace quillon
