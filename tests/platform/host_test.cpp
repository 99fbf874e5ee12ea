#include "platform/host/host.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"

namespace {

using namespace vxhost;

TEST(host, several_start_and_end_beside_each_other_and_leave_nothing) {
    size_t records = 0;
    configureLogging({.threshold = vx::LOG_TRACE, .sink = [&](auto...) { ++records; }});
    setenv("QUILLON_POOL_CHECK", "1", 1);
    testing::internal::CaptureStderr();
    const auto startTwo = [] {
        ExtensionHost one(Settings{}), other(Settings{});
        EXPECT_NE(one.handle().journalEnabled, 0);
        EXPECT_NE(one.handle().pool, other.handle().pool);
    };
    std::thread beside(startTwo);
    startTwo();
    beside.join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unsetenv("QUILLON_POOL_CHECK");
    configureLogging({});
    EXPECT_EQ(records, 4u * 3);  // called, returning, destroyed
}

TEST(host, missing_or_wrong_library_is_named) {
    const auto complaint = [](const char* library) -> std::string {
        try {
            ExtensionHost host({}, library);
        } catch (const Failure& failure) {
            return failure.what();
        }
        return "none";
    };
    EXPECT_NE(complaint("/nowhere/quillon.so").find("/nowhere/quillon.so"), std::string::npos);
    EXPECT_TRUE(complaint("libc.so.6").starts_with("libc.so.6 is not the quillon extension"));
}

}  // namespace
