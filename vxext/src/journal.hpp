// What the person at the host reads: sentences and statuses, written only to a journal that was
// given and only while journalEnabled is set.
#pragma once

#include "host/quillon.h"
#include "vxext/src/log.hpp"

namespace vx {

// Null when nothing may be written.
inline Journal* squillonEnabledJournal(const ExtensionHandle* extension, Journal* journal) {
    return extension->journalEnabled ? journal : nullptr;
}

// length: 0 for a NUL-terminated sentence, else its characters.
template <class... Arguments>
void squillonJournalSentence(const ExtensionHandle* extension, Journal* journal, uint32_t severity,
                             const char32_t* sentence, uint64_t length, Arguments... arguments) {
    if (Journal* enabled = squillonEnabledJournal(extension, journal))
        vxlMessageToJnl(enabled, severity, sentence, length, squillonVariable(arguments)...);
}

// The host shows the text that it keeps for the status.
inline void squillonJournalStatus(const ExtensionHandle* extension, Journal* journal,
                                  Status status) {
    if (Journal* enabled = squillonEnabledJournal(extension, journal))
        vxlStatusToJnl(enabled, JOURNAL_FAILURE, status);
}

}  // namespace vx
