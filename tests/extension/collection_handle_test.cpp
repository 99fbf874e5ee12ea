#include "tests/extension/open_collection.hpp"

namespace {

using namespace test;

vx::CollectionHandle* acquire(FakeHost& host, vx::CollectionParms& parms) {
    return host.extension->operations.quillonCollectionHandleAcquire(host.extension, &parms,
                                                                     &host.journal);
}

vx::Status release(FakeHost& host, vx::CollectionHandle* collection) {
    return host.extension->operations.quillonCollectionHandleRelease(collection);
}

// The texts of the standard collection, up to where an acquire goes different ways.
const char texts[] = R"(2 "quillonCollectionHandleAcquire called"
    text "http://h/c/" into 44
    text "ann" into 12
    text "sesame!" into 28
)";
const char cache[] = R"(utilloc
    Exists "/cache/1" -> 80BFE801
    CreateDirectory "/cache/1"
    path "/cache/1" into 8
    3 "quillonCollectionHandleAcquire using local cache '/cache/1'"
)";
const char client[] = R"(CreateHttpContext journal -> context1
    CreateClient2 url "http://h/c/" user "ann" password "sesame!" for journal context1 journal -> client1
)";
const char removed[] = R"(DeleteDirectory "/cache/1" 1
    client1 Destroy
    context1 Destroy
    FreeLocation "/cache/1"
)";

TEST(CollectionHandle, is_opened_in_order_and_released_in_order) {
    FakeHost host;
    vx::CollectionParms parms = collectionParms(host);
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
    EXPECT_EQ(std::string_view(collection->magic, 8), std::string_view("nevo\0\0\0\0", 8));
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
    EXPECT_FALSE(host.gaveBack(passwordText));
}

TEST(CollectionHandle, release_returns_the_clients_status_else_the_directorys) {
    const std::pair<const char*, vx::Status> rows[] = {
        {"DeleteDirectory rc=80000001, Destroy rc=80000002, Destroy rc=80000003", 0x80000002},
        {"DeleteDirectory rc=80000001", 0},
        {"Destroy -, Destroy rc=80000003", 0},
    };
    for (const auto& [script, status] : rows) {
        FakeHost host{script};
        vx::CollectionParms parms = collectionParms(host);
        EXPECT_EQ(release(host, acquire(host, parms)), status) << script;
    }
    FakeHost host;
    EXPECT_EQ(release(host, nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

struct Failure {
    const char* script;
    vx::Status rc;
    std::string between;  // what is written between the texts and the status in the journal
    std::string after;    // what the release writes
};

// Repeats the search for a free name as often as candidates are there.
std::string candidates(int count) {
    std::string text;
    for (int i = 1; i <= count; ++i) {
        const std::string path = "\"/cache/" + std::to_string(i) + "\"";
        text += "utilloc\nExists " + path + " -> 00000000\n";
        if (i < count) text += "FreeLocation " + path + "\n";
    }
    return text;
}

TEST(CollectionHandle, failures_are_logged_journaled_and_undone) {
    const Failure rows[] = {
        {"utilloc rc=80000001", 0x80000001,
         R"(utilloc -> 80000001
            3 "quillonCollectionHandleAcquire could not get unique cache in utilloc")",
         ""},
        {"Exists rc=80000001", 0x80000001,
         R"(utilloc
            Exists "/cache/1" -> 80000001
            3 "quillonCollectionHandleAcquire error creating cache directory, rc=80000001")",
         "FreeLocation \"/cache/1\""},
        {"Exists present *256", vx::QUILLON_REQUEST_FAILED,
         candidates(256) +
             "3 \"quillonCollectionHandleAcquire error creating unique cache directory\"",
         "FreeLocation \"/cache/256\""},
        {"CreateDirectory rc=80000001", 0x80000001,
         R"(utilloc
            Exists "/cache/1" -> 80BFE801
            CreateDirectory "/cache/1" -> 80000001
            3 "quillonCollectionHandleAcquire error creating cache directory, rc=80000001")",
         "FreeLocation \"/cache/1\""},
        {"path small *4", vx::VX_BUFFER_TOO_SMALL,
         R"(utilloc
            Exists "/cache/1" -> 80BFE801
            CreateDirectory "/cache/1"
            path "/cache/1" into 8 -> 803FE807
            path "/cache/1" into 16 -> 803FE807
            path "/cache/1" into 32 -> 803FE807
            path "/cache/1" into 64 -> 803FE807)",
         R"(DeleteDirectory "/cache/1" 1
            FreeLocation "/cache/1")"},
        {"path rc=80000001", 0x80000001,
         R"(utilloc
            Exists "/cache/1" -> 80BFE801
            CreateDirectory "/cache/1"
            path "/cache/1" into 8 -> 80000001
            3 "quillonCollectionHandleAcquire transcode for narrow unique cache path return rc=80000001")",
         R"(DeleteDirectory "/cache/1" 1
            FreeLocation "/cache/1")"},
        {"CreateClient2 null *3, CreateHttpContext null", vx::QUILLON_REQUEST_FAILED,
         std::string{cache} + R"(CreateHttpContext journal -> null
            CreateClient2 url "http://h/c/" user "ann" password "sesame!" for journal journal -> null
            CreateClient2 url "http://h/c/" user "ann" password "sesame!" for journal journal -> null
            CreateClient2 url "http://h/c/" user "ann" password "sesame!" for journal journal -> null
            3 "quillonCollectionHandleAcquire could not create HTTP client instance"
            journal 4 "HTTP client instance for collection could not be created.")",
         R"(DeleteDirectory "/cache/1" 1
            FreeLocation "/cache/1")"},
        {"HEAD rc=80000001", 0x80000001, std::string{cache} + client + R"(client1 HEAD -> 80000001
            3 "quillonCollectionHandleAcquire collection HEAD returned rc=80000001, status=-1")",
         removed},
        {"HEAD 401", vx::QUILLON_NOT_AUTHORIZED,
         std::string{cache} + client + R"(client1 HEAD -> 401
            3 "quillonCollectionHandleAcquire InstHead returned status=401")",
         removed},
        {"HEAD 404", vx::QUILLON_COLLECTION_NOT_FOUND,
         std::string{cache} + client + R"(client1 HEAD -> 404
            3 "quillonCollectionHandleAcquire InstHead returned status=404")",
         removed},
        {"HEAD 300", vx::QUILLON_UNEXPECTED_STATUS,
         std::string{cache} + client + R"(client1 HEAD -> 300
            3 "quillonCollectionHandleAcquire InstHead returned status=300")",
         removed},
    };
    for (const Failure& row : rows) {
        SCOPED_TRACE(row.script);
        FakeHost host{row.script};
        vx::CollectionParms parms = collectionParms(host);
        EXPECT_EQ(acquire(host, parms), nullptr);
        EXPECT_EQ(parms.rc, row.rc);
        char rc[9];
        snprintf(rc, sizeof rc, "%08X", row.rc);
        EXPECT_EQ(
            host.transcript(),
            lines(std::string{texts} + row.between + "\njournal 4 " + rc + "\n" +
                  "2 \"quillonCollectionHandleRelease called\"\n" + row.after +
                  "\n2 \"quillonCollectionHandleAcquire returning rc=" + rc + " collp=null\""));
        EXPECT_FALSE(host.gaveBack(passwordText));
    }
}

TEST(CollectionHandle, a_text_that_cannot_be_converted_is_named) {
    const std::pair<const char*, const char*> rows[] = {
        {"text rc=80000001", "collection URL"},
        {"text -, text rc=80000001", "proxy URL"},
        {"text -, text -, text rc=80000001", "username"},
        {"text -, text -, text -, text rc=80000001", "password"},
        {"text -, text -, text -, text -, text rc=80000001", "cache parent"},
    };
    for (const auto& [script, name] : rows) {
        SCOPED_TRACE(name);
        FakeHost host{script};
        host.logger.threshold = 3;
        vx::CollectionParms parms = collectionParms(host);
        parms.proxy = parms.cacheParent = "proxy";
        parms.proxyLength = parms.cacheParentLength = 5;
        EXPECT_EQ(acquire(host, parms), nullptr);
        EXPECT_EQ(parms.rc, 0x80000001u);
        EXPECT_NE(host.transcript().find(
                      std::string{"3 \"quillonCollectionHandleAcquire error transcoding "} + name +
                      ", rc=80000001\"\njournal 4 80000001\n"),
                  std::string::npos);
        EXPECT_FALSE(host.gaveBack(passwordText));
    }
}

TEST(CollectionHandle, each_text_without_memory_is_named) {
    const char* names[] = {"collection handle",         "collection handle generic name",
                           "transcoded collection URL", "transcoded proxy URL",
                           "transcoded username",       "transcoded password",
                           "transcoded cache parent",   "narrow unique cache path"};
    for (int nth = 1; nth <= 8; ++nth) {
        FakeHost host;
        host.logger.threshold = 3;
        vx::CollectionParms parms = collectionParms(host);
        parms.proxy = parms.cacheParent = "proxy";
        parms.proxyLength = parms.cacheParentLength = 5;
        parms.genericName = "name";
        host.pool.failAt = host.pool.asked + nth;
        EXPECT_EQ(acquire(host, parms), nullptr);
        EXPECT_NE(host.transcript().find(
                      std::string{"3 \"quillonCollectionHandleAcquire no memory for "} +
                      names[nth - 1] + "\"\njournal 4 803FC002\n"),
                  std::string::npos)
            << names[nth - 1];
    }
}

TEST(CollectionHandle, every_allocation_fails_cleanly) {
    everyAllocationFails([](FakeHost& host) {
        vx::CollectionParms parms = collectionParms(host);
        parms.proxy = parms.cacheParent = "proxy";
        parms.proxyLength = parms.cacheParentLength = 5;
        parms.genericName = "name";
        host.startFailing();
        vx::CollectionHandle* collection = acquire(host, parms);
        host.quitFailing();
        EXPECT_EQ(collection == nullptr, parms.rc != vx::VX_SUCCESS);
        EXPECT_EQ(release(host, collection), vx::VX_SUCCESS);
        return parms.rc;
    });
}

TEST(CollectionHandle, a_url_must_be_there_and_end_in_a_slash) {
    struct Url {
        const char* url;
        int64_t length;
        const char* between;
        const char* script = "";
    };
    const Url rows[] = {
        {nullptr, 5, R"(3 "quillonCollectionHandleAcquire invalid collection URL")"},
        {"http://h/", 0, R"(3 "quillonCollectionHandleAcquire invalid collection URL")"},
        {"http://h/", -1, R"(3 "quillonCollectionHandleAcquire invalid collection URL")"},
        {"http://h/", 9, R"(text "http://h/" into 36
            3 "quillonCollectionHandleAcquire collection URL does not end in slash")",
         "text nothing"},
        {"http://h/", 8, R"(text "http://h" into 32
            3 "quillonCollectionHandleAcquire collection URL does not end in slash")"},
    };
    for (const Url& row : rows) {
        FakeHost host{row.script};
        vx::CollectionParms parms = collectionParms(host);
        parms.url = row.url;
        parms.urlLength = row.length;
        EXPECT_EQ(acquire(host, parms), nullptr);
        EXPECT_EQ(parms.rc, vx::QUILLON_BAD_URL);
        EXPECT_EQ(host.transcript(),
                  lines(std::string{"2 \"quillonCollectionHandleAcquire called\"\n"} + row.between +
                        R"(
                            journal 4 81FFC801
                            2 "quillonCollectionHandleRelease called"
                            2 "quillonCollectionHandleAcquire returning rc=81FFC801 collp=null")"));
    }
}

TEST(CollectionHandle, texts_of_no_length_are_not_given) {
    FakeHost host{"HEAD 207"};
    vx::CollectionParms parms = collectionParms(host);
    parms.proxy = "p";
    parms.userLength = -1;
    parms.passwordLength = 0;
    parms.cacheParent = "d";
    parms.options = vx::NO_CACHE | vx::COUNT_ONLY_OPTION;
    vx::CollectionHandle* collection = acquire(host, parms);
    ASSERT_NE(collection, nullptr);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleAcquire called"
        text "http://h/c/" into 44
        CreateHttpContext journal -> context1
        CreateClient2 url "http://h/c/" for journal context1 journal -> client1
        client1 HEAD -> 207
        2 "quillonCollectionHandleAcquire returning rc=00000000 collp=set"
    )"));
    EXPECT_EQ(collection->flags, vx::LIST_COUNT_ONLY);
    EXPECT_EQ(release(host, collection), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionHandleRelease called"
        client1 Destroy
        context1 Destroy)"));
}

TEST(CollectionHandle, a_cache_below_a_parent_is_named_by_fsbox) {
    FakeHost host{"Exists present"};
    host.logger.threshold = 3;
    vx::CollectionParms parms = collectionParms(host);
    parms.cacheParent = "/p";
    parms.cacheParentLength = 2;
    parms.userLength = parms.passwordLength = 0;
    vx::CollectionHandle* collection = acquire(host, parms);
    ASSERT_NE(collection, nullptr);
    EXPECT_EQ(collection->flags, vx::CACHE_CREATED);
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
        CreateClient2 url "http://h/c/" for journal context1 journal -> client1
        client1 HEAD -> 200)"));
    EXPECT_EQ(release(host, collection), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(DeleteDirectory "/p/2" 1
        client1 Destroy
        context1 Destroy
        ReleaseName "/p/2")"));

    FakeHost refusing{"CreateName rc=80000001"};
    refusing.logger.threshold = 3;
    parms = collectionParms(refusing);
    parms.cacheParent = "/p";
    parms.cacheParentLength = 2;
    EXPECT_EQ(acquire(refusing, parms), nullptr);
    EXPECT_EQ(parms.rc, 0x80000001u);
    EXPECT_NE(refusing.transcript().find(R"(CreateName "/p" "" kind 4 -> 80000001
3 "quillonCollectionHandleAcquire could not create cache"
journal 4 80000001
)"),
              std::string::npos);
}

TEST(CollectionHandle, a_disabled_journal_sees_the_third_attempt_alone) {
    FakeHost host{"CreateClient2 null *3"};
    host.extension->journalEnabled = 0;
    host.logger.threshold = 3;
    vx::CollectionParms parms = collectionParms(host);
    parms.userLength = parms.passwordLength = 0;
    parms.options = vx::NO_CACHE;
    EXPECT_EQ(acquire(host, parms), nullptr);
    EXPECT_EQ(host.transcript(), lines(R"(text "http://h/c/" into 44
        CreateHttpContext journal -> context1
        CreateClient2 url "http://h/c/" for journal context1 -> null
        CreateClient2 url "http://h/c/" for journal context1 -> null
        CreateClient2 url "http://h/c/" for journal context1 journal -> null
        3 "quillonCollectionHandleAcquire could not create HTTP client instance"
        context1 Destroy)"));
}

}  // namespace
