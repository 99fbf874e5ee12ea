// The commonest end of an operation that will not or cannot go on.
#pragma once

#include "vxext/src/journal.hpp"
#include "vxext/src/log.hpp"

namespace vx {

// Logs the text, reports the status to the journal, and returns it.
template <class... Arguments>
Status squillonRefuse(const ExtensionHandle* extension, Journal* journal, Status status,
                      const LogText& text, Arguments... arguments) {
    squillonLogFailure(extension, text, arguments...);
    squillonJournalStatus(extension, journal, status);
    return status;
}

}  // namespace vx
