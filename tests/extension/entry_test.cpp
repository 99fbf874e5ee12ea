// Start and end of the extension, and its versions.
#include "vxext/src/entry.hpp"

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

struct StoppedHost : FakeHost {
    explicit StoppedHost(std::string_view text) : FakeHost(text, false) {}
};

TEST(Entry, starts_and_ends_in_order_or_leaves_nothing) {
    expectTranscripts<StoppedHost>("entry", {""}, {}, [](StoppedHost& host) {
        vx::ExtensionHandle* handle = quillon(&host, &host);
        if (!handle) return vx::VX_NO_MEMORY;
        // As if the slot that is never loaded were: it goes between fsbox and markup.
        handle->reservedExtension = &std::exchange(handle->toolbox, nullptr)->base;
        return handle->Destroy(handle);
    });
}

TEST(Entry, handle_is_filled) {
    FakeHost host;
    const vx::ExtensionHandle& handle = *host.extension;
    EXPECT_EQ(fmt::format("{} {}", std::string_view(handle.magic, 4), handle.name), "nevo quillon");
    EXPECT_TRUE(handle.host == &host && handle.markup == &host.markup);
    EXPECT_FALSE(handle.reservedExtension);
    const auto* slots = reinterpret_cast<void* const*>(&handle.operations);
    EXPECT_EQ(std::set<void*>(slots, slots + 16).size(), 16u);
    for (auto* ask : {handle.GetVersion, handle.GetReqVersion}) {
        uint64_t version = 0, release = 0, level = 0;
        EXPECT_EQ(ask(nullptr, &version, &release, &level), vx::VX_SUCCESS);
        EXPECT_EQ(fmt::format("{}.{}.{}", version, release, level), "6.1.1");
    }
    uint64_t major = 0, minor = 0;
    EXPECT_EQ(vxextver(&host.kernel, &major, &minor), vx::VX_SUCCESS);
    EXPECT_EQ(fmt::format("{}.{}", major, minor), "6.1");
}

TEST(Entry, version_record_is_copied_whole_and_no_further) {
    std::vector<uint64_t> words(27, 1);
    EXPECT_EQ(vxvercn1(words.data()), vx::VX_SUCCESS);
    EXPECT_EQ(std::vector(words.begin() + 17, words.end()),
              (std::vector<uint64_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    const auto text = [&](size_t word) { return reinterpret_cast<const char*>(words[word]); };
    // Build time, version text and date are of the same moment.
    const auto seconds = static_cast<time_t>(words[3]);
    char shown[64];
    strftime(shown, sizeof shown, "P%m%d%Y%a %b %e %H:%M:%S UTC %Y", gmtime(&seconds));
    EXPECT_EQ(fmt::format("{}{}", text(0) + 9, text(16)), shown);
    std::string others;
    for (const size_t word : {2u, 4u, 6u, 8u, 9u, 10u, 11u, 12u, 14u}) others += text(word);
    EXPECT_EQ(others, fmt::format("vxvxextversion::ZEB_VERSION_HOTFIX_NUMBER={:39}"
                                  "VERCON_IMAGE_DESCRIPTION={:40}",
                                  "", ""));
}

}  // namespace
