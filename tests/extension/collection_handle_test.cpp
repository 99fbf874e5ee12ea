#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// With every text that there may be, unless the script has "credentials none"; "parent": the cache
// is made below one, not wherever the toolbox keeps them.
vx::CollectionHandle* acquire(FakeHost& host, vx::Status& rc) {
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.proxy = "http://p";
    parms.proxyLength = 8;
    if (host.script.has("credentials")) {
        parms.proxyLength = 0;
        parms.userLength = -1;
        parms.password = nullptr;
    }
    parms.cacheParent = "/p";
    parms.cacheParentLength = host.script.has("parent") ? 2 : 0;
    parms.genericName = "name";
    parms.clientOption = 5;
    parms.options = vx::LIST_COLLECTIONS_OPTION;
    parms.rc = 0xDBDBDBDB;
    auto* collection = host.extension->operations.quillonCollectionHandleAcquire(
        host.extension, &parms, &host.journal);
    rc = parms.rc;
    EXPECT_EQ(collection == nullptr, rc != vx::VX_SUCCESS);
    return collection;
}

vx::Status open(FakeHost& host) {
    vx::Status rc;
    auto* collection = acquire(host, rc);
    EXPECT_EQ(host.extension->operations.quillonCollectionHandleRelease(collection),
              vx::VX_SUCCESS);
    return rc;
}

TEST(CollectionHandle, is_opened_in_order_and_released_in_order) {
    FakeHost host;
    vx::Status rc;
    vx::CollectionHandle* collection = acquire(host, rc);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleAcquire called"
        text "http://h/c/" into 44
        text "http://p" into 32
        text "ann" into 12
        text "sesame!" into 28
        utilloc
        Exists "/cache/1" -> 80BFE801
        CreateDirectory "/cache/1"
        path "/cache/1" into 8
        3 "quillonCollectionHandleAcquire using local cache '/cache/1'"
        CreateHttpContext journal -> context1
        CreateClient2 url "http://h/c/" proxy "http://p" user "ann" password "sesame!" option 5 for journal context1 journal -> client1
        client1 HEAD -> 200
        2 "quillonCollectionHandleAcquire returning rc=00000000 collp=set"
    )"));
    ASSERT_NE(collection, nullptr);
    EXPECT_EQ(std::string(collection->magic, 8), std::string("nevo\0\0\0\0", 8));
    EXPECT_STREQ(collection->genericName, "name");
    EXPECT_EQ(std::u32string_view(collection->url, collection->urlLength), U"http://h/c/");
    EXPECT_EQ(std::u32string_view(collection->cacheDir, collection->cacheDirLength), U"/cache/1");
    EXPECT_STREQ(collection->narrowCacheDir, "/cache/1");
    EXPECT_EQ(collection->narrowCacheDirLength, 8u);
    EXPECT_EQ(collection->flags,
              vx::CACHE_FROM_UTILLOC | vx::CACHE_CREATED | vx::LIST_INCLUDE_COLLECTIONS);

    host.script = Script{"DeleteDirectory rc=80000001, Destroy rc=80000002, Destroy rc=80000003"};
    host.sayPool = true;
    EXPECT_EQ(collection->release(collection), 0x80000002);
    host.sayPool = false;
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/cache/1" 1 -> 80000001
        Free 5
        client1 Destroy
        context1 Destroy
        Free 44
        Free 32
        Free 12
        Free 28
        FreeLocation "/cache/1"
        Free 9
        Free 152
    )"));
    EXPECT_EQ(host.extension->operations.quillonCollectionHandleRelease(nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

TEST(CollectionHandle, failures_are_logged_journaled_and_undone) {
    std::string taken;
    for (int candidate = 0; candidate < 256; ++candidate) taken += "Exists 00000000, ";
    expectOutcomes<FakeHost>("quillonCollectionHandleAcquire", open, "taken = " + taken + R"(
        cached = Exists 80BFE801, using local cache '/cache/1',
        url null => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=0 => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=0xFFFFFFFFFFFFFFFF => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=10 => 81FFC801: collection URL does not end in slash, journal 4 81FFC801
        text nothing => 81FFC801: collection URL does not end in slash, journal 4 81FFC801
        text rc=80000001 => 80000001: text 80000001, error transcoding collection URL, rc=80000001, journal 4 80000001
        text -, text rc=80000001 => 80000001: text 80000001, error transcoding proxy URL, rc=80000001, journal 4 80000001
        text - *2, text rc=80000001 => 80000001: text 80000001, error transcoding username, rc=80000001, journal 4 80000001
        text - *3, text rc=80000001 => 80000001: text 80000001, error transcoding password, rc=80000001, journal 4 80000001
        parent, text - *4, text rc=80000001 => 80000001: text 80000001, error transcoding cache parent, rc=80000001, journal 4 80000001
        parent, CreateName rc=80000001 => 80000001: CreateName 80000001, could not create cache, journal 4 80000001
        utilloc rc=80000001 => 80000001: utilloc 80000001, could not get unique cache in utilloc, journal 4 80000001
        Exists rc=80000001 => 80000001: Exists 80000001, error creating cache directory, rc=80000001, journal 4 80000001
        Exists present *256 => 81FFC811: {taken}error creating unique cache directory, journal 4 81FFC811
        CreateDirectory rc=80000001 => 80000001: Exists 80BFE801, CreateDirectory 80000001, error creating cache directory, rc=80000001, journal 4 80000001
        path small *4 => 803FE807: Exists 80BFE801, path 803FE807, path 803FE807, path 803FE807, path 803FE807, journal 4 803FE807
        path rc=80000001 => 80000001: Exists 80BFE801, path 80000001, transcode for narrow unique cache path return rc=80000001, journal 4 80000001
        CreateClient2 null *3, CreateHttpContext null => 81FFC811: {cached} CreateHttpContext null, CreateClient2 null, CreateClient2 null, CreateClient2 null, could not create HTTP client instance, journal 4 HTTP client instance for collection could not be created., journal 4 81FFC811
        HEAD rc=80000001 => 80000001: {cached} HEAD 80000001, collection HEAD returned rc=80000001, status=-1, journal 4 80000001
        HEAD 207 => 00000000: {cached} HEAD 207
        HEAD 300 => 81FFC808: {cached} HEAD 300, InstHead returned status=300, journal 4 81FFC808
        HEAD 401 => 81FFC802: {cached} HEAD 401, InstHead returned status=401, journal 4 81FFC802
        HEAD 404 => 81FFC803: {cached} HEAD 404, InstHead returned status=404, journal 4 81FFC803
    )");
}

TEST(CollectionHandle, a_cache_below_a_parent_is_named_by_fsbox) {
    FakeHost host{"parent, credentials none, Exists present, HEAD 404"};
    EXPECT_EQ(open(host), vx::QUILLON_COLLECTION_NOT_FOUND);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleAcquire called"
        text "http://h/c/" into 44
        text "/p" into 8
        CreateName "/p" "" kind 4
        Exists "/p/1" -> 00000000
        ReleaseName "/p/1"
        CreateName "/p" "" kind 4
        Exists "/p/2" -> 80BFE801
        CreateDirectory "/p/2"
        path "/p/2" into 4
        3 "quillonCollectionHandleAcquire using local cache '/p/2'"
        CreateHttpContext journal -> context1
        CreateClient2 url "http://h/c/" option 5 for journal context1 journal -> client1
        client1 HEAD -> 404
        3 "quillonCollectionHandleAcquire InstHead returned status=404"
        journal 4 81FFC803
        2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/p/2" 1
        client1 Destroy
        context1 Destroy
        ReleaseName "/p/2"
        2 "quillonCollectionHandleAcquire returning rc=81FFC803 collp=null")"));
}

TEST(CollectionHandle, every_allocation_fails_cleanly) {
    everyAllocationFails<FakeHost>(
        [](FakeHost& host) {
            host.script = Script{"parent"};
            return open(host);
        },
        noMemoryFor(
            "quillonCollectionHandleAcquire",
            {"collection handle", "collection handle generic name", "transcoded collection URL",
             "transcoded proxy URL", "transcoded username", "transcoded password",
             "transcoded cache parent", "narrow unique cache path"}));
}

}  // namespace
