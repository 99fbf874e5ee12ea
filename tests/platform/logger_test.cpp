#include "platform/base/logger.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace {

using namespace vxhost;

TEST(logger, threshold_holds_for_old_and_new_channels_and_failure_records_for_none) {
    std::ostringstream written;
    const auto configure = [&](uint32_t threshold) {
        const auto sink = [&](uint32_t level, auto channel, auto text) {
            written << level << ' ' << channel << ": " << text << '\n';
        };
        configureLogging({threshold, sink});
    };
    const auto logAll = [](vx::Logger* to) {
        for (const uint32_t level : {LOG_WIRE, vx::LOG_TRACE, vx::LOG_FAILURE})
            logLine(to, level, "100% \u00E4 %s");
    };
    configure(0);
    vx::Logger* const early = findLogger(U"early");
    EXPECT_FALSE(logWanted(early, vx::LOG_TRACE));  // an extension renders no trace for it
    FailureRecords kept;
    logAll(early);
    configure(2);
    logAll(findLogger(U"early"));
    std::thread([&] { logAll(findLogger(U"late")); }).join();
    configureLogging({});
    EXPECT_EQ(written.str(),
              "2 early: 100% \u00E4 %s\n3 early: 100% \u00E4 %s\n"
              "2 late: 100% \u00E4 %s\n3 late: 100% \u00E4 %s\n");
    EXPECT_EQ(kept.text(), "100% \u00E4 %s; 100% \u00E4 %s");  // of this thread
}

}  // namespace
