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
    setenv("QUILLON_POOL_CHECK", "1", 1);
    testing::internal::CaptureStderr();
    {
        ExtensionHost host(Settings{});
        vx::ExtensionHandle& handle = host.handle();
        EXPECT_EQ(std::string_view(handle.magic, 4), "nevo");
        EXPECT_NE(handle.journalEnabled, 0);
        uint64_t version[3] = {};
        handle.GetVersion(&handle, &version[0], &version[1], &version[2]);
        EXPECT_EQ(version[0] * 100 + version[1] * 10 + version[2], 611u);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unsetenv("QUILLON_POOL_CHECK");
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

TEST(host, missing_or_wrong_library_is_named) {
    for (const auto& [library, named] : {std::pair{"/nowhere/libquillon.so", "QUILLON_LIBRARY"},
                                         {"libc.so.6", "libc.so.6 is not the quillon extension"}}) {
        try {
            ExtensionHost host({}, library);
            ADD_FAILURE() << library;
        } catch (const Failure& failure) {
            const std::string text = failure.what();
            EXPECT_NE(text.find(library), std::string::npos) << text;
            EXPECT_NE(text.find(named), std::string::npos) << text;
        }
    }
}

}  // namespace
