// One log statement: level test, rendering, record. A disabled level costs two field reads.
#pragma once

#include "host/quillon.h"
#include "vxext/src/messages.hpp"

namespace vx {

// The lines of a source file as texts that last: a host may keep what a record points to.
struct LineTexts {
    consteval LineTexts() {
        for (unsigned line = 1; line < 512; ++line) {
            unsigned end = line < 10 ? 1 : line < 100 ? 2 : 3;
            for (unsigned rest = line; rest != 0; rest /= 10)
                texts[line][--end] = char('0' + rest % 10);
        }
    }
    char texts[512][4] = {};
};
inline constexpr LineTexts squillonLineTexts;

// A template with its length and the line of the statement that logs it.
struct LogText {
    template <size_t N>
    consteval LogText(const char32_t (&literal)[N], unsigned number = __builtin_LINE())
        : text(literal), length(N - 1), line(squillonLineTexts.texts[number]) {}
    const char32_t* text;
    uint64_t length;
    const char* line;
};

// Variable arguments travel as 64-bit values: a status widened with its sign, as is an integer.
inline int64_t squillonVariable(Status status) {
    return int32_t(status);
}
inline int64_t squillonVariable(int32_t number) {
    return number;
}
inline const void* squillonVariable(const void* pointer) {
    return pointer;
}

// Another thread of the host may set a threshold at any time.
inline uint32_t squillonThreshold(const uint32_t& threshold) {
    return __atomic_load_n(&threshold, __ATOMIC_RELAXED);
}

inline bool squillonLogWanted(Logger* logger, uint32_t level) {
    if (const uint32_t own = squillonThreshold(logger->threshold)) return own <= level;
    if (const uint32_t inherited = squillonThreshold(logger->inheritedThreshold))
        return inherited <= level;
    return logger->table->IsEnabled(logger, level);
}

// message may be null: then nothing is logged.
void squillonLogRendered(Logger* logger, uint32_t level, const char* line,
                         RenderedMessage* message);

template <class... Arguments>
void squillonLog(Logger* logger, uint32_t level, const LogText& text, Arguments... arguments) {
    if (!squillonLogWanted(logger, level)) return;
    squillonLogRendered(
        logger, level, text.line,
        LoggerRender(logger, text.text, text.length, squillonVariable(arguments)...));
}

template <class... Arguments>
void squillonTrace(const ExtensionHandle* extension, const LogText& text, Arguments... arguments) {
    squillonLog(extension->logger, LOG_TRACE, text, arguments...);
}

// Failures, and the few facts that are logged at their level.
template <class... Arguments>
void squillonLogFailure(const ExtensionHandle* extension, const LogText& text,
                        Arguments... arguments) {
    squillonLog(extension->logger, LOG_FAILURE, text, arguments...);
}

}  // namespace vx
