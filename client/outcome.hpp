// From an operation's status to a Result. An operation of the extension sums up: what the server
// or the machine beneath it said is heard from the requests themselves, as they end.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/error.hpp"
#include "client/result.hpp"
#include "host/status.h"
#include "platform/base/journal.hpp"
#include "platform/base/settings.hpp"

namespace quillon {

// Of the operation that runs on this thread.
struct Heard {
    vx::Status failure = vx::VX_SUCCESS;  // of the latest request without a complete answer
    int refusal = 0;                      // the latest HTTP status that is none of 2xx
    std::vector<StrayLock> locks;
    std::string lockSentence;  // what was in the way, where it is no lock of somebody else
    std::optional<std::string> unknownSchemes;  // as of vxhost::Answer
};

// What an HTTP status that refuses means, and what to do about it. unknownSchemes: as in Heard.
std::string explainAnswer(int httpStatus, const std::optional<std::string>& unknownSchemes);

void hear(const vxhost::RequestEnd& end);
void noteStrayLock(const vxhost::StrayLock& lock);
void noteUnknownSchemes(std::string_view schemes);

// Whether a request of the operation that ran last was not answered in time, whatever came of it.
bool hasTimedOut();

// Begins an operation: forgets what was heard and written before. HTTP clients hold on to the
// journal, so it lives as long as the record that is made with it.
vx::Journal* begin(vxhost::UserJournal& journal);

// Which file it was, where the status of a local failure leaves that open. Empty: nothing to add.
std::string detailOf(vx::Status cause);

// The error of the failed operation that ran last.
Error failure(vx::Status status, vxhost::UserJournal& journal);

// Success or that error.
Result<void> outcome(vx::Status status, vxhost::UserJournal& journal);

// Of an exception from platform/.
Error thrownError(const std::exception& thrown);

// Runs a body without the extension, which throws what goes wrong.
template <class Body>
auto caught(Body&& body) -> decltype(body()) {
    try {
        return body();
    } catch (const std::exception& thrown) {
        return thrownError(thrown);
    }
}

}  // namespace quillon
