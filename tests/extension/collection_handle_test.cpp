#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Opens and releases, with a line between them of what was opened. "parent": the cache is made
// below one, not wherever the toolbox keeps them; "uncached": nowhere; "kept": it is to outlive the
// handle.
vx::Status openCollection(FakeHost& host) {
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.cacheParent = "/p";
    parms.cacheParentLength = host.script.has("parent") ? 2 : 0;
    parms.genericName = "name";
    parms.clientOption = 5;
    parms.options = vx::LIST_COLLECTIONS_OPTION;
    if (host.script.has("uncached")) parms.options = vx::NO_CACHE | vx::COUNT_ONLY_OPTION;
    parms.rc = 0xDBDBDBDB;
    auto* collection = host.extension->operations.quillonCollectionHandleAcquire(
        host.extension, &parms, &host.journal);
    EXPECT_EQ(collection == nullptr, parms.rc != vx::VX_SUCCESS);
    if (!collection) return parms.rc;
    host.say("{} {} {} {} {} flags {}", std::string_view(collection->magic, 4),
             collection->genericName, narrow({collection->url, collection->urlLength}),
             collection->narrowCacheDir ? collection->narrowCacheDir : "-",
             collection->narrowCacheDirLength, collection->flags);
    if (host.script.has("kept")) {
        collection->flags |= vx::CACHE_KEEP;
        host.due.erase("DeleteDirectory \"/cache/1\" 1");
    }
    return collection->release(collection);
}

TEST(CollectionHandle, is_opened_in_order_and_released_in_order) {
    expectTranscripts<FakeHost>(
        "collection_handle", {"parent"},
        {"", "uncached", "kept", "utilloc rc=80000010", "url null", "url length=0", "url length=-1",
         "url length=10", "credentials null", "credentials length=0", "credentials length=-1",
         "HEAD 404"},
        openCollection);
    FakeHost host;
    EXPECT_EQ(host.extension->operations.quillonCollectionHandleRelease(nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

TEST(CollectionHandle, gives_up_after_256_names_for_its_cache) {
    for (const int taken : {255, 256}) {
        FakeHost host{fmt::format("Exists present *{}", taken)};
        EXPECT_EQ(openCollection(host), taken < 256 ? vx::VX_SUCCESS : vx::QUILLON_REQUEST_FAILED);
        EXPECT_EQ(host.counts["/cache/"], 256);
        const std::string record =
            "3 \"quillonCollectionHandleAcquire error creating unique cache directory\"";
        EXPECT_EQ(std::ranges::count(host.lines, record), taken < 256 ? 0 : 1);
    }
}

}  // namespace
