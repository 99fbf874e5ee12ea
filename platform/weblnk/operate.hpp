// The frame around every request operation.
#pragma once

#include "platform/base/journal.hpp"
#include "platform/base/status.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

// Runs the body of an operation: a failure's sentence, if it has one, goes to the journal (null:
// nowhere), and the program is told what came of it.
template <class Body>
Status operate(const Settings& settings, vx::Journal* journal, int32_t* status,
               Body&& body) noexcept {
    *status = -1;
    const Status result = guarded(WEBLNK_CUT_OFF, [&]() -> Status {
        try {
            body();
            return vx::VX_SUCCESS;
        } catch (const Failure& failure) {
            const std::string_view why = failure.what();
            if (!why.empty()) journalSentence(journal, vx::JOURNAL_FAILURE, why);
            throw;
        }
    });
    guarded(WEBLNK_CUT_OFF, [&]() -> Status {
        if (settings.requestEnded) settings.requestEnded({result, *status});
        return vx::VX_SUCCESS;
    });
    return result;
}

}  // namespace vxhost
