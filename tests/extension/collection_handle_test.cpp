#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Opens and releases, with a line between them of what was opened. There is every text that may be,
// unless the script has "credentials none"; "parent": the cache is made below one, not wherever the
// toolbox keeps them.
vx::Status open(FakeHost& host) {
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
    EXPECT_EQ(collection == nullptr, parms.rc != vx::VX_SUCCESS);
    if (!collection) return parms.rc;
    host.say("3 {} {} {} {} {} flags {}", std::string_view(collection->magic, 4),
             collection->genericName, narrow({collection->url, collection->urlLength}),
             collection->narrowCacheDir, collection->narrowCacheDirLength, collection->flags);
    return collection->release(collection);
}

TEST(CollectionHandle, is_opened_in_order_and_released_in_order) {
    FakeHost host{"DeleteDirectory rc=80000001, Destroy rc=80000002, Destroy rc=80000003"};
    host.sayPool = true;
    EXPECT_EQ(open(host), 0x80000002);
    host.sayPool = false;
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleAcquire called"
        Alloc 152
        Alloc 5
        Alloc 44
        text "http://h/c/" into 44
        Alloc 32
        text "http://p" into 32
        Alloc 12
        text "ann" into 12
        Alloc 28
        text "sesame!" into 28
        utilloc
        Exists "/cache/1" -> 80BFE801
        CreateDirectory "/cache/1"
        Alloc 9
        path "/cache/1" into 8
        3 "quillonCollectionHandleAcquire using local cache '/cache/1'"
        CreateHttpContext journal -> context1
        CreateClient2 "http://h/c/" "http://p" "ann" "sesame!" option 5 for journal context1 journal -> client1
        client1 HEAD -> 200
        2 "quillonCollectionHandleAcquire returning rc=00000000 collp=set"
        3 nevo name http://h/c/ /cache/1 8 flags 14
        2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/cache/1" 1 -> 80000001
        Free 5
        client1 Destroy -> 80000002
        context1 Destroy -> 80000003
        Free 44
        Free 32
        Free 12
        Free 28
        FreeLocation "/cache/1"
        Free 9
        Free 152)"));
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
        HEAD 299 => 00000000: {cached} HEAD 299, nevo name http://h/c/ /cache/1 8 flags 14
        parent, Exists present => 00000000: Exists 00000000, Exists 80BFE801, using local cache '/p/2', HEAD 200, nevo name http://h/c/ /p/2 4 flags 12
        parent, memory 1 => 803FC002: no memory for collection handle, journal 4 803FC002
        parent, memory 2 => 803FC002: no memory for collection handle generic name, journal 4 803FC002
        parent, memory 3 => 803FC002: no memory for transcoded collection URL, journal 4 803FC002
        parent, memory 4 => 803FC002: no memory for transcoded proxy URL, journal 4 803FC002
        parent, memory 5 => 803FC002: no memory for transcoded username, journal 4 803FC002
        parent, memory 6 => 803FC002: no memory for transcoded password, journal 4 803FC002
        parent, memory 7 => 803FC002: no memory for transcoded cache parent, journal 4 803FC002
        parent, memory 8 => 803FC002: Exists 80BFE801, no memory for narrow unique cache path, journal 4 803FC002
        HEAD 300 => 81FFC808: {cached} HEAD 300, InstHead returned status=300, journal 4 81FFC808
        HEAD 401 => 81FFC802: {cached} HEAD 401, InstHead returned status=401, journal 4 81FFC802
        HEAD 404 => 81FFC803: {cached} HEAD 404, InstHead returned status=404, journal 4 81FFC803
    )");
}

TEST(CollectionHandle, that_cannot_be_opened_is_released_after_the_journal_is_told) {
    FakeHost host{"parent, credentials none, HEAD 404"};
    EXPECT_EQ(open(host), vx::QUILLON_COLLECTION_NOT_FOUND);
    const std::string all = host.transcript();
    EXPECT_EQ(all.substr(all.find("CreateClient2")),
              lines(R"(CreateClient2 "http://h/c/" option 5 for journal context1 journal -> client1
        client1 HEAD -> 404
        3 "quillonCollectionHandleAcquire InstHead returned status=404"
        journal 4 81FFC803
        2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/p/1" 1
        client1 Destroy
        context1 Destroy
        ReleaseName "/p/1"
        2 "quillonCollectionHandleAcquire returning rc=81FFC803 collp=null")"));
}

}  // namespace
