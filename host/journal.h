/* The user journal: messages for the person at the host, handed in with each operation. */
#ifndef QUILLON_HOST_JOURNAL_H
#define QUILLON_HOST_JOURNAL_H

#include "host/abi.h"

VX_BEGIN

typedef struct Journal Journal;

static const uint32_t JOURNAL_NOTE = 2;    /* LOCK and UNLOCK notes */
static const uint32_t JOURNAL_FAILURE = 4; /* a failure reported to the person */

/* Placeholders of a text are the logger's (logger.h). A text of length 0 is NUL-terminated.
 *
 * The two buffer operations leave in a buffer of UTF-32, NUL-terminated, what the journal would be
 * told. capacity counts characters, the NUL among them; produced is the address of a 64-bit count
 * without it. VX_BUFFER_TOO_SMALL: *produced says how many there are, the buffer is untouched. */
struct Journal {
    Unnamed at00[4];
    Status (*MessageToBuffer)(Journal*, Word text, Word length, Word buffer, Word capacity,
                              Word produced, va_list);
    Status (*MessageToJournal)(Journal*, uint32_t severity, const char32_t* text, uint64_t length,
                               va_list);
    Status (*StatusToBuffer)(Journal*, int64_t status, Word buffer, Word capacity, Word produced,
                             va_list);
    Status (*StatusToJournal)(Journal*, uint32_t severity, int64_t status, va_list);
    Unnamed at40[4];
    Word (*GetLocale)(Journal*, ...); /* a narrow name of the texts' locale, NUL-terminated */
};
ABI_AT(Journal, MessageToBuffer, 0x20);
ABI_AT(Journal, MessageToJournal, 0x28);
ABI_AT(Journal, StatusToBuffer, 0x30);
ABI_AT(Journal, StatusToJournal, 0x38);
ABI_AT(Journal, GetLocale, 0x60);

VX_END

#endif
