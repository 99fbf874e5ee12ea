#include "platform/logger.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using namespace vxhost;

class logger : public testing::Test {
protected:
    void configure(uint32_t threshold) {
        configureLogging(
            {.logThreshold = threshold,
             .log =
                 [this](uint32_t level, std::string_view channel, std::string_view text) {
                     written += std::to_string(level) + ' ';
                     written.append(channel).append(": ").append(text) += '\n';
                 },
             .configDirectory = {}});
    }
    static void logAll(vx::Logger* to) {
        for (const uint32_t level : {LOG_WIRE, vx::LOG_TRACE, vx::LOG_FAILURE}) {
            logLine(to, level, "100% \u00E4 %s");
        }
    }
    ~logger() override { configureLogging({}); }

    std::string written;
};

TEST_F(logger, threshold_holds_for_old_and_new_channels) {
    vx::Logger* const early = findLogger(U"test.early");
    EXPECT_EQ(early, findLogger(U"test.early"));
    logAll(early);
    configure(2);
    logAll(early);
    logAll(findLogger(U"test.late"));
    EXPECT_EQ(written,
              "2 test.early: 100% \u00E4 %s\n3 test.early: 100% \u00E4 %s\n"
              "2 test.late: 100% \u00E4 %s\n3 test.late: 100% \u00E4 %s\n");
}

TEST_F(logger, only_failure_records_keep_what_nobody_wants) {
    configure(0);
    vx::Logger* const quiet = findLogger(U"test.quiet");
    EXPECT_GT(quiet->threshold, vx::LOG_TRACE);  // an extension renders no trace for it
    EXPECT_FALSE(logWanted(quiet, vx::LOG_TRACE));
    EXPECT_FALSE(logWanted(nullptr, vx::LOG_FAILURE));
    FailureRecords kept;
    logAll(quiet);
    logLine(quiet, vx::LOG_FAILURE, "again");
    std::thread([&] { logLine(quiet, vx::LOG_FAILURE, "of another thread"); }).join();
    EXPECT_EQ(kept.text(), "100% \u00E4 %s; again");
    EXPECT_EQ(written, "");
}

TEST_F(logger, records_of_several_threads_stay_whole) {
    configure(3);
    vx::Logger* const channel = findLogger(U"t");
    std::vector<std::thread> threads;
    for (const char each : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([channel, text = std::string(50, each)] {
            for (int line = 0; line < 200; ++line) logLine(channel, 3, text);
        });
    }
    for (auto& thread : threads) thread.join();
    const size_t lineLength = 5 + 50 + 1;
    ASSERT_EQ(written.size(), 4 * 200 * lineLength);
    for (size_t at = 0; at < written.size(); at += lineLength) {
        EXPECT_EQ(written.substr(at, lineLength),
                  "3 t: " + std::string(50, written[at + 5]) + "\n");
    }
}

}  // namespace
