// Start and end of the extension, and its versions.
#include "vxext/src/entry.hpp"

#include "tests/extension/fake_host.hpp"

namespace {

using namespace test;

const char called[] = R"(GetLogger App.WebDAV.quillon
    2 "quillon called"
)";
const char failed[] = R"(
    2 "quillon returning rc=803FC002"
)";

struct Row {
    const char* script;
    const char* between;  // what is written between the two traces
    const char* after;
};

TEST(Entry, what_is_missing_is_named_and_the_rest_given_back) {
    const Row rows[] = {
        {"CreatePool null", R"(CreatePool quillon pool context -> null
             3 "quillon no memory for extension handle")",
         ""},
        {"weblnk null", R"(CreatePool quillon pool context
             host LoadExtension weblnk context -> null
             3 "WEBLNK extension could not be loaded")",
         "DestroyPool"},
        {"fsbox null", R"(CreatePool quillon pool context
             host LoadExtension weblnk context
             host LoadExtension fsbox context -> null
             3 "FSBOX extension could not be loaded")",
         R"(Unload weblnk
            DestroyPool)"},
        {"toolbox null", R"(CreatePool quillon pool context
             host LoadExtension weblnk context
             host LoadExtension fsbox context
             host LoadExtension toolbox context -> null
             3 "TOOLBOX extension could not be loaded")",
         R"(Unload weblnk
            Unload fsbox
            DestroyPool)"},
        {"markup null", R"(CreatePool quillon pool context
             host LoadExtension weblnk context
             host LoadExtension fsbox context
             host LoadExtension toolbox context
             kernel LoadExtension markup -> null
             3 "MARKUP extension could not be loaded")",
         R"(Unload weblnk
            Unload toolbox
            Unload fsbox
            DestroyPool)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.script);
        FakeHost host{row.script, false};
        EXPECT_EQ(quillon(&host, &host), nullptr);
        EXPECT_TRUE(host.pool.live.empty());
        EXPECT_EQ(host.transcript(), lines(std::string{called} + row.between + failed + row.after));
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
    EXPECT_EQ(host.transcript(), lines(std::string{called} + R"(CreatePool quillon pool
        3 "QUILLON extension handle could not be loaded")" +
                                       failed + "DestroyPool"));
}

TEST(Entry, handle_is_filled_and_destroyed_in_order) {
    FakeHost host{"", false};
    vx::ExtensionHandle* handle = quillon(&host, nullptr);
    ASSERT_NE(handle, nullptr);
    host.transcript();
    EXPECT_EQ(std::string_view(handle->magic, 8), std::string_view("nevo\0\0\0\0", 8));
    EXPECT_EQ(handle->name, handle->nameText);
    EXPECT_STREQ(handle->name, "quillon");
    EXPECT_EQ(handle->host, &host);
    EXPECT_EQ(handle->logger, &host.logger);
    EXPECT_EQ(handle->markup, &host.markup);
    EXPECT_EQ(handle->reservedExtension, nullptr);
    EXPECT_EQ(handle->journalEnabled, 0);
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
    for (auto* ask : {host.extension->GetVersion, host.extension->GetReqVersion}) {
        uint64_t version = 0, release = 0, level = 0;
        EXPECT_EQ(ask(nullptr, &version, &release, &level), vx::VX_SUCCESS);
        EXPECT_EQ(version * 100 + release * 10 + level, 611u);
    }
    uint64_t major = 0, minor = 0;
    EXPECT_EQ(vxextver(&host.kernel, &major, &minor), vx::VX_SUCCESS);
    EXPECT_EQ(major * 10 + minor, 61u);
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
    strftime(shown, sizeof shown, "P%m%d%Y", &utc);
    EXPECT_EQ(text(0).substr(9), shown);
    strftime(shown, sizeof shown, "%a %b %e %H:%M:%S UTC %Y", &utc);
    EXPECT_EQ(text(16), shown);
    EXPECT_EQ(text(4) + text(6) + text(9) + text(10), "vxvxextversion::");
    EXPECT_EQ(text(2) + text(8) + text(11), "");
    EXPECT_EQ(text(12), "ZEB_VERSION_HOTFIX_NUMBER=" + std::string(39, ' '));
    EXPECT_EQ(text(14), "VERCON_IMAGE_DESCRIPTION=" + std::string(40, ' '));
}

}  // namespace
