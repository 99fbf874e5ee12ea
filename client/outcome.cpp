#include "client/outcome.hpp"

#include <algorithm>
#include <utility>

#include "client/http_status.hpp"
#include "platform/status.hpp"

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

std::string explanation(Status cause, int refusal) {
    if (!isSummary(cause) && cause != vxhost::WEBLNK_REFUSED) return vxhost::statusText(cause);
    if (refusal == 0) return vxhost::statusText(cause);
    const Status namesake = namesakeOf(refusal);
    return namesake != vx::VX_SUCCESS ? vxhost::statusText(namesake) : answerText(refusal);
}

// "GET method failed. Status = -1": what the request itself wrote before says more.
bool tellsBareStatus(const std::string& text) {
    return text.find("Status = ") != std::string::npos;
}

std::vector<std::string> sentencesOf(vxhost::UserJournal& journal, Status status,
                                     std::string last) {
    const std::string summary = vxhost::statusText(status);
    std::vector<std::string> sentences;
    for (vxhost::Sentence& sentence : journal.take()) {
        const bool told = sentence.text == last || sentence.text == summary ||
                          tellsBareStatus(sentence.text) ||
                          std::count(sentences.begin(), sentences.end(), sentence.text) > 0;
        if (sentence.severity >= vx::JOURNAL_FAILURE && !told) {
            sentences.push_back(std::move(sentence.text));
        }
    }
    sentences.push_back(std::move(last));
    return sentences;
}

}  // namespace

void hear(const vxhost::Exchange& exchange) {
    if (exchange.result != vx::VX_SUCCESS) heard().failure = exchange.result;
    if (exchange.httpStatus >= 300) heard().refusal = exchange.httpStatus;
}

vx::Journal* begin(vxhost::UserJournal& journal) {
    journal.take();
    heard() = {};
    return &journal;
}

Error failure(Status status, vxhost::UserJournal& journal) {
    const Heard& last = heard();
    const bool beneath = isSummary(status) && last.failure != vx::VX_SUCCESS;
    const Status cause = beneath ? last.failure : status;
    Error error;
    error.httpStatus = last.refusal;
    error.code = static_cast<Code>(cause);
    error.kind = kindOf(error.code, error.httpStatus);
    error.sentences = sentencesOf(journal, status, explanation(cause, last.refusal));
    return error;
}

Result<void> outcome(Status status, vxhost::UserJournal& journal) {
    if (status == vx::VX_SUCCESS) return {};
    return failure(status, journal);
}

}  // namespace quillon
