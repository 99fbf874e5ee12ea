#include "platform/host.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/kernel.hpp"
#include "platform/status.hpp"

namespace {

using namespace vxhost;

TEST(host, handle_is_ready_for_use) {
    std::string log;
    configureKernel({.logThreshold = vx::LOG_TRACE,
                     .log = [&](uint32_t, std::string_view,
                                std::string_view text) { log.append(text) += '\n'; },
                     .configDirectory = {}});
    {
        Settings settings;
        settings.userAgent = "test";
        ExtensionHost host(settings);
        vx::ExtensionHandle& handle = host.handle();
        EXPECT_EQ(std::string_view(handle.magic, 4), "nevo");
        EXPECT_NE(handle.journalEnabled, 0);
        uint64_t version[3] = {};
        handle.GetVersion(&handle, &version[0], &version[1], &version[2]);
        EXPECT_EQ(version[0] * 100 + version[1] * 10 + version[2], 611u);
        EXPECT_EQ(host.settings().userAgent, "test");
    }
    configureKernel({});
    EXPECT_EQ(log, "quillon called\nquillon returning rc=00000000\nquillonDestroy called\n");
}

TEST(host, several_live_at_once) {
    std::vector<std::thread> threads;
    for (int each = 0; each < 4; ++each) {
        threads.emplace_back([] {
            ExtensionHost one(Settings{});
            ExtensionHost other(Settings{});
            EXPECT_NE(&one.handle(), &other.handle());
            EXPECT_NE(one.handle().pool, other.handle().pool);
        });
    }
    for (auto& thread : threads) thread.join();
}

TEST(host, checked_pool_has_nothing_to_tell) {
    setenv("QUILLON_POOL_CHECK", "1", 1);
    testing::internal::CaptureStderr();
    { ExtensionHost host(Settings{}); }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unsetenv("QUILLON_POOL_CHECK");
}

std::string failureOf(const std::string& library) {
    try {
        ExtensionHost host({}, library);
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(host, missing_or_wrong_library_is_named) {
    const std::string missing = failureOf("/nowhere/libquillon.so");
    EXPECT_NE(missing.find("/nowhere/libquillon.so"), std::string::npos) << missing;
    EXPECT_NE(missing.find("QUILLON_LIBRARY"), std::string::npos) << missing;
    const std::string wrong = failureOf("libc.so.6");
    EXPECT_NE(wrong.find("libc.so.6 is not the quillon extension"), std::string::npos) << wrong;
}

}  // namespace
