/* Diagnostics: a logger belongs to one channel, its operations live in a table of their own. */
#ifndef QUILLON_HOST_LOGGER_H
#define QUILLON_HOST_LOGGER_H

#include "host/abi.h"

VX_BEGIN

typedef struct Logger Logger;
typedef struct LoggerTable LoggerTable;
typedef struct LoggerFactory LoggerFactory;
typedef struct RenderedMessage RenderedMessage; /* opaque; the logger owns it */

static const uint32_t LOG_TRACE = 2;   /* entry and result of an operation */
static const uint32_t LOG_FAILURE = 3; /* failures, and a few facts worth keeping */

struct Logger {
    Unnamed at00[2];
    const LoggerTable* table;
    uint32_t threshold;          /* records below it are unwanted; 0: not set */
    uint32_t inheritedThreshold; /* the parent channel's, asked when threshold is 0; 0: not set */
};
ABI_AT(Logger, table, 0x10);
ABI_AT(Logger, threshold, 0x18);
ABI_AT(Logger, inheritedThreshold, 0x1C);

/* Templates know four placeholders: "%X" a status code (signed 64-bit, shown as eight hexadecimal
 * digits), "%d" a signed 64-bit integer, "%P" a pointer, "%s" a NUL-terminated UTF-32 text. */
struct LoggerTable {
    Unnamed at00[3];
    RenderedMessage* (*RenderNumbered)(Logger*, int64_t number, va_list); /* null: nothing to log */
    Unnamed at20;
    bool (*IsEnabled)(Logger*, uint32_t level); /* asked when no threshold is set */
    Unnamed at30[5];
    RenderedMessage* (*Render)(Logger*, Word, const char32_t* text, uint64_t length, va_list);
    Unnamed at60;
    void (*Log)(Logger*, uint32_t level, Word, Word, Word, const char* line, const char* source,
                uint64_t code, RenderedMessage*, Word);
};
ABI_AT(LoggerTable, RenderNumbered, 0x18);
ABI_AT(LoggerTable, IsEnabled, 0x28);
ABI_AT(LoggerTable, Render, 0x58);
ABI_AT(LoggerTable, Log, 0x68);

struct LoggerFactory {
    Unnamed at00[18];
    Logger* (*GetLogger)(LoggerFactory*, const char32_t* channel, uint64_t length); /* or null */
};
ABI_AT(LoggerFactory, GetLogger, 0x90);

VX_END

#endif
