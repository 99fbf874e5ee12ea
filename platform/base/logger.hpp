// The logging channels of the process: one logger a channel, all with the one threshold and sink of
// the LogSettings. Everything here may be called from several threads.
#pragma once

#include <string>
#include <string_view>

#include "host/logger.h"
#include "platform/base/settings.hpp"

namespace vxhost {

inline constexpr uint32_t LOG_WIRE = 1;  // what goes over the wire, below the extension's levels

vx::LoggerFactory& loggerFactory();

// The channel's logger, for the life of the process.
vx::Logger* findLogger(std::u32string_view channel);

// Whether a record of the level is wanted: asked before a costly text is put together.
bool logWanted(vx::Logger* logger, uint32_t level) noexcept;

// One record whose text is UTF-8, through the operations of any host's logger. A null logger, or a
// level that is not wanted: nothing happens.
void logLine(vx::Logger* logger, uint32_t level, std::string_view text) noexcept;

// Threshold and sink from now on, for the loggers that exist and for later ones.
void configureLogging(const LogSettings& settings);

// Keeps the failure records that this thread writes while it lives, wanted or not: the text for an
// error whose cause is told to the log alone. One at a time in a thread.
class FailureRecords {
public:
    FailureRecords();
    ~FailureRecords();
    FailureRecords(const FailureRecords&) = delete;
    FailureRecords& operator=(const FailureRecords&) = delete;

    void add(std::string_view text);
    const std::string& text() const { return text_; }  // joined by "; "

private:
    std::string text_;
};

}  // namespace vxhost
