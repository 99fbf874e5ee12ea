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

// A sentence that the journal reads up to its NUL, or up to the length.
struct JournalText {
    template <size_t N>
    consteval JournalText(const char32_t (&literal)[N]) : text(literal) {}
    consteval JournalText(const char32_t* literal, uint64_t characters)
        : text(literal), length(characters) {}
    const char32_t* text;
    uint64_t length = 0;
};

// The same with its length, which hosts see.
template <size_t N>
consteval JournalText squillonCounted(const char32_t (&literal)[N]) {
    return {literal, N - 1};
}

template <class... Arguments>
void squillonJournalSentence(const ExtensionHandle* extension, Journal* journal, uint32_t severity,
                             const JournalText& sentence, Arguments... arguments) {
    if (Journal* enabled = squillonEnabledJournal(extension, journal))
        vxlMessageToJnl(enabled, severity, sentence.text, sentence.length,
                        squillonVariable(arguments)...);
}

// The host shows the text that it keeps for the status.
inline void squillonJournalStatus(const ExtensionHandle* extension, Journal* journal,
                                  Status status) {
    if (Journal* enabled = squillonEnabledJournal(extension, journal))
        vxlStatusToJnl(enabled, JOURNAL_FAILURE, status);
}

}  // namespace vx
