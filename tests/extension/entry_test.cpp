// Start and end of the extension, and its versions.
#include "vxext/src/entry.hpp"

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

TEST(Entry, starts_and_ends_in_order_or_leaves_nothing) {
    const char rows[] = R"(
        logger = GetLogger App.WebDAV.quillon
        pool = {logger}, 2 "quillon called", CreatePool quillon pool context
        handle = {pool}, Alloc 272
        weblnk = {handle}, host LoadExtension weblnk context
        fsbox = {weblnk}, host LoadExtension fsbox context
        toolbox = {fsbox}, host LoadExtension toolbox context
        markup = {toolbox}, kernel LoadExtension markup
        freed = Free 272, DestroyPool
        failed = 2 "quillon returning rc=803FC002"
        => {markup}, 2 "quillon returning rc=00000000", 2 "quillonDestroy called", Unload weblnk, Unload fsbox, Unload toolbox, Unload markup, DestroyPool
        GetLogger null => {logger} -> null
        CreatePool null => {pool} -> null, 3 "quillon no memory for extension handle", {failed}
        memory null => {handle}, 3 "QUILLON extension handle could not be loaded", {failed}, DestroyPool
        weblnk null => {weblnk} -> null, 3 "WEBLNK extension could not be loaded", {failed}, {freed}
        fsbox null => {fsbox} -> null, 3 "FSBOX extension could not be loaded", {failed}, Unload weblnk, {freed}
        toolbox null => {toolbox} -> null, 3 "TOOLBOX extension could not be loaded", {failed}, Unload weblnk, Unload fsbox, {freed}
        markup null => {markup} -> null, 3 "MARKUP extension could not be loaded", {failed}, Unload weblnk, Unload toolbox, Unload fsbox, {freed}
    )";
    for (const auto& [script, expected] : rowsOf(rows)) {
        FakeHost host{script, false};
        host.sayPool = true;
        host.pool.failAt = host.script.has("memory") ? 1 : 0;
        vx::ExtensionHandle* handle = quillon(&host, &host);
        EXPECT_EQ(handle != nullptr, script.empty());
        if (handle) {
            // As if the slot that is never loaded were: it goes between fsbox and markup.
            handle->reservedExtension = &std::exchange(handle->toolbox, nullptr)->base;
            handle->Destroy(handle);
        }
        EXPECT_EQ(fmt::format("{}", fmt::join(host.lines, ", ")), expected);
    }
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
