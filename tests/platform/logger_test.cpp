#include "platform/logger.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace {

using namespace vxhost;

struct logger : testing::Test {
    ~logger() override { configureLogging({}); }
    void configure(uint32_t threshold) {
        const auto sink = [this](uint32_t level, auto channel, auto text) {
            written << level << ' ' << channel << ": " << text << '\n';
        };
        configureLogging({.logThreshold = threshold, .log = sink, .configDirectory = {}});
    }
    static void logAll(vx::Logger* to) {
        for (const uint32_t level : {LOG_WIRE, vx::LOG_TRACE, vx::LOG_FAILURE})
            logLine(to, level, "100% \u00E4 %s");
    }
    std::stringstream written;
};

TEST_F(logger, threshold_holds_for_old_and_new_channels_and_failure_records_for_none) {
    configure(0);
    vx::Logger* const early = findLogger(U"early");
    EXPECT_EQ(early, findLogger(U"early"));
    EXPECT_FALSE(logWanted(early, vx::LOG_TRACE));  // an extension renders no trace for it
    EXPECT_FALSE(logWanted(nullptr, vx::LOG_FAILURE));
    FailureRecords kept;
    logAll(early);
    configure(2);
    logAll(early);
    std::thread([] { logAll(findLogger(U"late")); }).join();
    EXPECT_EQ(written.str(),
              "2 early: 100% \u00E4 %s\n3 early: 100% \u00E4 %s\n"
              "2 late: 100% \u00E4 %s\n3 late: 100% \u00E4 %s\n");
    EXPECT_EQ(kept.text(), "100% \u00E4 %s; 100% \u00E4 %s");  // of this thread
}

TEST_F(logger, records_of_several_threads_stay_whole) {
    configure(3);
    const auto logMany = [](char each) {
        for (int line = 0; line < 200; ++line) logLine(findLogger(U"t"), 3, std::string(50, each));
    };
    std::thread beside(logMany, 'a');
    logMany('b');
    beside.join();
    size_t count = 0;
    for (std::string line; std::getline(written, line); ++count)
        EXPECT_EQ(line, "3 t: " + std::string(50, line.back()));
    EXPECT_EQ(count, 400u);
}

}  // namespace
