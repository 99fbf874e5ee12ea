// The commonest ends of an operation that cannot or will not go on.
#pragma once

#include "vxext/src/journal.hpp"
#include "vxext/src/log.hpp"

namespace vx {

// Logs the text and returns the status.
template <class... Arguments>
Status squillonFail(const ExtensionHandle* extension, Status status, const LogText& text,
                    Arguments... arguments) {
    squillonLogFailure(extension, text, arguments...);
    return status;
}

// Reports the status to the journal, too.
template <class... Arguments>
Status squillonRefuse(const ExtensionHandle* extension, Journal* journal, Status status,
                      const LogText& text, Arguments... arguments) {
    squillonLogFailure(extension, text, arguments...);
    squillonJournalStatus(extension, journal, status);
    return status;
}

}  // namespace vx
