#include "tests/extension/operation.hpp"

namespace {

using namespace test;

vx::CollectionHandle* acquire(FakeHost& host, vx::CollectionParms& parms) {
    parms.rc = 0xDBDBDBDB;
    return host.extension->operations.quillonCollectionHandleAcquire(host.extension, &parms,
                                                                     &host.journal);
}

vx::Status release(FakeHost& host, vx::CollectionHandle* collection) {
    return host.extension->operations.quillonCollectionHandleRelease(collection);
}

vx::Status open(FakeHost& host, vx::CollectionParms parms) {
    vx::CollectionHandle* collection = acquire(host, parms);
    EXPECT_EQ(collection == nullptr, parms.rc != vx::VX_SUCCESS);
    EXPECT_EQ(release(host, collection), vx::VX_SUCCESS);
    return parms.rc;
}

vx::Status openAnywhere(FakeHost& host) {
    return open(host, collectionParms<vx::CollectionParms>(host));
}

// With every text that there may be.
vx::Status openBelow(FakeHost& host) {
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.proxy = parms.cacheParent = "proxy";
    parms.proxyLength = parms.cacheParentLength = 5;
    parms.genericName = "name";
    return open(host, parms);
}

TEST(CollectionHandle, is_opened_in_order_and_released_in_order) {
    FakeHost host;
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.genericName = "the library";
    parms.proxy = "http://p";
    parms.proxyLength = 8;
    parms.clientOption = 5;
    parms.options = vx::LIST_COLLECTIONS_OPTION;
    vx::CollectionHandle* collection = acquire(host, parms);
    ASSERT_NE(collection, nullptr);
    EXPECT_EQ(parms.rc, vx::VX_SUCCESS);
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
    EXPECT_EQ(std::string(collection->magic, 8), std::string("nevo\0\0\0\0", 8));
    EXPECT_STREQ(collection->genericName, "the library");
    EXPECT_EQ(std::u32string_view(collection->url, collection->urlLength), U"http://h/c/");
    EXPECT_EQ(std::u32string_view(collection->cacheDir, collection->cacheDirLength), U"/cache/1");
    EXPECT_STREQ(collection->narrowCacheDir, "/cache/1");
    EXPECT_EQ(collection->narrowCacheDirLength, 8u);
    EXPECT_EQ(collection->flags,
              vx::CACHE_FROM_UTILLOC | vx::CACHE_CREATED | vx::LIST_INCLUDE_COLLECTIONS);

    host.sayPool = true;
    EXPECT_EQ(collection->release(collection), vx::VX_SUCCESS);
    host.sayPool = false;
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/cache/1" 1
        Free 12
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
}

TEST(CollectionHandle, release_returns_the_clients_status_else_the_directorys) {
    const std::pair<const char*, vx::Status> rows[] = {
        {"DeleteDirectory rc=80000001, Destroy rc=80000002, Destroy rc=80000003", 0x80000002},
        {"DeleteDirectory rc=80000001", 0},
        {"Destroy -, Destroy rc=80000003", 0},
    };
    for (const auto& [script, status] : rows) {
        FakeHost host{script};
        auto parms = collectionParms<vx::CollectionParms>(host);
        EXPECT_EQ(release(host, acquire(host, parms)), status) << script;
        host.lines.clear();
        EXPECT_EQ(release(host, nullptr), vx::VX_SUCCESS);
        EXPECT_EQ(host.transcript(), "");
    }
}

TEST(CollectionHandle, failures_are_logged_journaled_and_undone) {
    std::string occupied;
    for (int candidate = 0; candidate < 256; ++candidate) occupied += "Exists 00000000, ";
    expectOutcomes<FakeHost>(
        "quillonCollectionHandleAcquire", openAnywhere,
        fmt::format(R"(
        utilloc rc=80000001 => 80000001: utilloc 80000001, could not get unique cache in utilloc, journal 4 80000001
        Exists rc=80000001 => 80000001: Exists 80000001, error creating cache directory, rc=80000001, journal 4 80000001
        Exists present *256 => 81FFC811: {occupied}error creating unique cache directory, journal 4 81FFC811
        CreateDirectory rc=80000001 => 80000001: Exists 80BFE801, CreateDirectory 80000001, error creating cache directory, rc=80000001, journal 4 80000001
        path small *4 => 803FE807: Exists 80BFE801, path 803FE807, path 803FE807, path 803FE807, path 803FE807, journal 4 803FE807
        path rc=80000001 => 80000001: Exists 80BFE801, path 80000001, transcode for narrow unique cache path return rc=80000001, journal 4 80000001
        CreateClient2 null *3, CreateHttpContext null => 81FFC811: {cached}CreateHttpContext null, CreateClient2 null, CreateClient2 null, CreateClient2 null, could not create HTTP client instance, journal 4 HTTP client instance for collection could not be created., journal 4 81FFC811
        HEAD rc=80000001 => 80000001: {cached}HEAD 80000001, collection HEAD returned rc=80000001, status=-1, journal 4 80000001
        HEAD 401 => 81FFC802: {cached}HEAD 401, InstHead returned status=401, journal 4 81FFC802
        HEAD 404 => 81FFC803: {cached}HEAD 404, InstHead returned status=404, journal 4 81FFC803
        HEAD 300 => 81FFC808: {cached}HEAD 300, InstHead returned status=300, journal 4 81FFC808
    )",
                    fmt::arg("occupied", occupied),
                    fmt::arg("cached", "Exists 80BFE801, using local cache '/cache/1', ")));
    expectOutcomes<FakeHost>("quillonCollectionHandleAcquire", openBelow, R"(
        text rc=80000001 => 80000001: text 80000001, error transcoding collection URL, rc=80000001, journal 4 80000001
        text -, text rc=80000001 => 80000001: text 80000001, error transcoding proxy URL, rc=80000001, journal 4 80000001
        text - *2, text rc=80000001 => 80000001: text 80000001, error transcoding username, rc=80000001, journal 4 80000001
        text - *3, text rc=80000001 => 80000001: text 80000001, error transcoding password, rc=80000001, journal 4 80000001
        text - *4, text rc=80000001 => 80000001: text 80000001, error transcoding cache parent, rc=80000001, journal 4 80000001
        CreateName rc=80000001 => 80000001: CreateName 80000001, could not create cache, journal 4 80000001
    )");

    FakeHost host{"HEAD 404"};
    openAnywhere(host);
    const std::string all = host.transcript();
    EXPECT_EQ(all.substr(all.find("journal 4 81")), lines(R"(journal 4 81FFC803
        2 "quillonCollectionHandleRelease called"
        DeleteDirectory "/cache/1" 1
        client1 Destroy
        context1 Destroy
        FreeLocation "/cache/1"
        2 "quillonCollectionHandleAcquire returning rc=81FFC803 collp=null")"));
}

TEST(CollectionHandle, every_allocation_fails_cleanly) {
    everyAllocationFails<FakeHost>(
        openBelow, noMemoryFor("quillonCollectionHandleAcquire",
                               {"collection handle", "collection handle generic name",
                                "transcoded collection URL", "transcoded proxy URL",
                                "transcoded username", "transcoded password",
                                "transcoded cache parent", "narrow unique cache path"}));
}

TEST(CollectionHandle, a_url_must_be_there_and_end_in_a_slash) {
    // "url" in the script: none, or one of a length of its own.
    const auto openUrl = [](FakeHost& host) {
        auto parms = collectionParms<vx::CollectionParms>(host);
        const Answer url = host.script.next("url");
        if (url.null()) parms.url = nullptr;
        parms.urlLength = int64_t(url.number("length", 11));
        return open(host, parms);
    };
    expectOutcomes<FakeHost>("quillonCollectionHandleAcquire", openUrl, R"(
        url null => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=0 => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=0xFFFFFFFFFFFFFFFF => 81FFC801: invalid collection URL, journal 4 81FFC801
        url length=10 => 81FFC801: collection URL does not end in slash, journal 4 81FFC801
        text nothing => 81FFC801: collection URL does not end in slash, journal 4 81FFC801
    )");
}

TEST(CollectionHandle, texts_of_no_length_are_not_given) {
    FakeHost host{"HEAD 207"};
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.proxy = "p";
    parms.userLength = -1;
    parms.passwordLength = 0;
    parms.cacheParent = "d";
    parms.options = vx::NO_CACHE | vx::COUNT_ONLY_OPTION;
    vx::CollectionHandle* collection = acquire(host, parms);
    EXPECT_EQ(collection->flags, vx::LIST_COUNT_ONLY);
    EXPECT_EQ(release(host, collection), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleAcquire called"
        text "http://h/c/" into 44
        CreateHttpContext journal -> context1
        CreateClient2 url "http://h/c/" for journal context1 journal -> client1
        client1 HEAD -> 207
        2 "quillonCollectionHandleAcquire returning rc=00000000 collp=set"
        2 "quillonCollectionHandleRelease called"
        client1 Destroy
        context1 Destroy)"));
}

// A disabled journal, too, sees the third attempt to make a client.
TEST(CollectionHandle, a_cache_below_a_parent_is_named_by_fsbox) {
    FakeHost host{"Exists present, CreateClient2 null *3"};
    host.logger.threshold = 3;
    host.extension->journalEnabled = 0;
    auto parms = collectionParms<vx::CollectionParms>(host);
    parms.cacheParent = "/p";
    parms.cacheParentLength = 2;
    parms.userLength = parms.passwordLength = 0;
    EXPECT_EQ(acquire(host, parms), nullptr);
    EXPECT_EQ(host.transcript(), lines(R"(text "http://h/c/" into 44
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
        CreateClient2 url "http://h/c/" for journal context1 -> null
        CreateClient2 url "http://h/c/" for journal context1 -> null
        CreateClient2 url "http://h/c/" for journal context1 journal -> null
        3 "quillonCollectionHandleAcquire could not create HTTP client instance"
        DeleteDirectory "/p/2" 1
        context1 Destroy
        ReleaseName "/p/2")"));
}

}  // namespace
