// Start and end of the extension, and its versions.
#include "vxext/src/entry.hpp"

#include "tests/extension/fake_host.hpp"

namespace {

using namespace test;

// The start up to the call that answers null, the message, and the end.
std::string failedStart(const std::string& call, const std::string& message,
                        const std::string& after) {
    std::string text = lines(R"(GetLogger App.WebDAV.quillon
        2 "quillon called"
        CreatePool quillon pool context
        host LoadExtension weblnk context
        host LoadExtension fsbox context
        host LoadExtension toolbox context
        kernel LoadExtension markup
        )");
    text.resize(text.find('\n', text.find(call)));
    return text + " -> null\n" +
           lines("3 \"" + message + "\"\n2 \"quillon returning rc=803FC002\"\n" + after);
}

TEST(Entry, what_is_missing_is_named_and_the_rest_given_back) {
    const char* const rows[][3] = {
        {"CreatePool", "quillon no memory for extension handle", ""},
        {"weblnk", "WEBLNK extension could not be loaded", "DestroyPool"},
        {"fsbox", "FSBOX extension could not be loaded", "Unload weblnk\nDestroyPool"},
        {"toolbox", "TOOLBOX extension could not be loaded",
         "Unload weblnk\nUnload fsbox\nDestroyPool"},
        {"markup", "MARKUP extension could not be loaded",
         "Unload weblnk\nUnload toolbox\nUnload fsbox\nDestroyPool"},
    };
    for (const auto& [call, message, after] : rows) {
        SCOPED_TRACE(call);
        FakeHost host{std::string{call} + " null", false};
        EXPECT_EQ(quillon(&host, &host), nullptr);
        EXPECT_EQ(host.transcript(), failedStart(call, message, after));
    }
}

TEST(Entry, without_a_logger_nothing_is_made) {
    FakeHost host{"GetLogger null", false};
    EXPECT_EQ(quillon(&host, nullptr), nullptr);
    EXPECT_EQ(host.transcript(), "GetLogger App.WebDAV.quillon -> null\n");
}

TEST(Entry, without_memory_for_the_handle_the_pool_goes) {
    FakeHost host{"", false};
    host.pool.failAt = 1;
    EXPECT_EQ(quillon(&host, nullptr), nullptr);
    EXPECT_EQ(host.transcript(), lines(R"(GetLogger App.WebDAV.quillon
        2 "quillon called"
        CreatePool quillon pool
        3 "QUILLON extension handle could not be loaded"
        2 "quillon returning rc=803FC002"
        DestroyPool)"));
}

TEST(Entry, handle_is_filled_and_destroyed_in_order) {
    FakeHost host;
    vx::ExtensionHandle* handle = std::exchange(host.extension, nullptr);
    EXPECT_EQ(std::string(handle->magic, 8), std::string("nevo\0\0\0\0", 8));
    EXPECT_EQ(handle->name, handle->nameText);
    EXPECT_STREQ(handle->name, "quillon");
    EXPECT_EQ(handle->host, &host);
    EXPECT_EQ(handle->logger, &host.logger);
    EXPECT_EQ(handle->markup, &host.markup);
    EXPECT_EQ(handle->reservedExtension, nullptr);
    const auto* slots = reinterpret_cast<void* const*>(&handle->operations);
    EXPECT_EQ(std::set<void*>(slots, slots + 16).size(), 16u);

    EXPECT_EQ(handle->Destroy(handle), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonDestroy called"
        Unload weblnk
        Unload toolbox
        Unload fsbox
        Unload markup
        DestroyPool)"));
}

TEST(Entry, versions_are_fixed) {
    FakeHost host;
    uint64_t version[3] = {};
    for (auto* ask : {host.extension->GetVersion, host.extension->GetReqVersion}) {
        EXPECT_EQ(ask(nullptr, &version[0], &version[1], &version[2]), vx::VX_SUCCESS);
        EXPECT_EQ(version[0] * 100 + version[1] * 10 + version[2], 611u);
        std::fill_n(version, 3, 0);
    }
    EXPECT_EQ(vxextver(&host.kernel, &version[0], &version[1]), vx::VX_SUCCESS);
    EXPECT_EQ(version[0] * 10 + version[1], 61u);
}

TEST(Entry, version_record_is_copied_whole_and_no_further) {
    std::vector<uint64_t> words(27, 1);
    EXPECT_EQ(vxvercn1(words.data()), vx::VX_SUCCESS);
    EXPECT_EQ(words[26], 1u);
    EXPECT_EQ(std::vector<uint64_t>(words.begin() + 17, words.begin() + 26),
              std::vector<uint64_t>(9));
    const auto text = [&](size_t word) {
        return std::string{reinterpret_cast<const char*>(words[word])};
    };
    // Build time, version text and date are of the same moment.
    const auto seconds = static_cast<time_t>(words[3]);
    tm utc{};
    gmtime_r(&seconds, &utc);
    char shown[64];
    strftime(shown, sizeof shown, "P%m%d%Y%a %b %e %H:%M:%S UTC %Y", &utc);
    EXPECT_EQ(text(0).substr(9) + text(16), shown);
    EXPECT_EQ(text(4) + text(6) + text(9) + text(10), "vxvxextversion::");
    EXPECT_EQ(text(2) + text(8) + text(11), "");
    EXPECT_EQ(text(12), "ZEB_VERSION_HOTFIX_NUMBER=" + std::string(39, ' '));
    EXPECT_EQ(text(14), "VERCON_IMAGE_DESCRIPTION=" + std::string(40, ' '));
}

}  // namespace
