// Creation and deletion of collections.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

vx::CollectionOpParms changeParms(FakeHost& host) {
    auto parms = collectionParms<vx::CollectionOpParms>(host);
    parms.proxy = "p";
    parms.proxyLength = 1;
    parms.genericName = "name";
    parms.clientOption = 3;
    return parms;
}

vx::Status create(FakeHost& host) {
    vx::CollectionOpParms parms = changeParms(host);
    return host.extension->operations.quillonCollectionCreate(host.extension, &parms,
                                                              &host.journal);
}

vx::Status remove(FakeHost& host, uint8_t all) {
    vx::CollectionOpParms parms = changeParms(host);
    parms.deleteAll = all;
    return host.extension->operations.quillonCollectionDelete(host.extension, &parms,
                                                              &host.journal);
}

vx::Status removeAll(FakeHost& host) {
    return remove(host, 1);
}

// Of a collection that has no member, or another one where the script says "member".
vx::Status removeEmpty(FakeHost& host) {
    const std::vector<Tree> type = {element(U"resourcetype", {element(U"collection")})};
    host.response = {element(U"multistatus", {response(U"http://h/c/", type)})};
    if (host.script.has("member"))
        host.response[0].children.push_back(response(U"http://h/c/d/", type));
    return remove(host, 0);
}

const char connected[] = R"(text "http://h/c/" into 44
    text "p" into 4
    text "ann" into 12
    text "sesame!" into 28
    CreateClient2 url "http://h/c/" proxy "p" user "ann" password "sesame!" option 3 for journal journal -> client1
)";

TEST(CollectionChange, sends_one_request) {
    FakeHost host;
    EXPECT_EQ(create(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(),
              lines(std::string{connected} + "client1 MKCOL -> 201\n client1 Destroy"));
    host.counts.clear();
    EXPECT_EQ(removeAll(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines("2 \"quillonCollectionDelete called\"\n" +
                                       std::string{connected} + R"(client1 DELETE -> 204
        client1 Destroy
        2 "quillonCollectionDelete returning rc=00000000")"));
}

TEST(CollectionChange, failures_are_logged_in_each_ones_name) {
    const char before[] = R"(
        CreateClient2 null *3 => 81FFC811: CreateClient2 null, CreateClient2 null, CreateClient2 null, journal 4 HTTP client instance could not be created. 42, create connection returned rc=81FFC811
        text rc=80000001 => 80000001: text 80000001, transcoding collection name returned rc=80000001
        text -, text rc=80000001 => 80000001: text 80000001, transcoding proxy name returned rc=80000001
        text - *2, text rc=80000001 => 80000001: text 80000001, transcoding user name returned rc=80000001
        text - *3, text rc=80000001 => 80000001: text 80000001, transcoding password returned rc=80000001
    )";
    expectOutcomes<FakeHost>("quillonCollectionCreate", create, before);
    expectOutcomes<FakeHost>("quillonCollectionCreate", create, R"(
        MKCOL 200 => 81FFC808: MKCOL 200, httpInstMkcol returned rc=00000000 status=200
        MKCOL 403 => 81FFC818: MKCOL 403, httpInstMkcol returned rc=00000000 status=403
        MKCOL 405 => 81FFC819: MKCOL 405, httpInstMkcol returned rc=00000000 status=405
        MKCOL 409 => 81FFC81A: MKCOL 409, httpInstMkcol returned rc=00000000 status=409
        MKCOL rc=80000001 => 81FFC808: MKCOL 80000001, httpInstMkcol returned rc=80000001 status=-1
        MKCOL rc=80000001 405 => 81FFC808: MKCOL 405 80000001, httpInstMkcol returned rc=80000001 status=405
    )");
    expectOutcomes<FakeHost>("quillonCollectionDelete", removeAll, before);
    expectOutcomes<FakeHost>("quillonCollectionDelete", removeAll, R"(
        DELETE 200 => 00000000: DELETE 200
        DELETE 207 => 81FFC808: DELETE 207, httpInstDelete returned rc=00000000 status=207
        DELETE 403 => 81FFC81B: DELETE 403, httpInstDelete returned rc=00000000 status=403
        DELETE 405 => 81FFC81C: DELETE 405, httpInstDelete returned rc=00000000 status=405
        DELETE 409 => 81FFC81D: DELETE 409, httpInstDelete returned rc=00000000 status=409
        DELETE rc=80000001 403 => 81FFC808: DELETE 403 80000001, httpInstDelete returned rc=80000001 status=403
    )");
}

TEST(CollectionChange, a_url_must_be_given) {
    FakeHost host;
    const vx::Operations& operations = host.extension->operations;
    for (auto* change : {operations.quillonCollectionCreate, operations.quillonCollectionDelete})
        for (const bool given : {false, true}) {
            vx::CollectionOpParms parms = changeParms(host);
            if (!given) parms.url = nullptr;
            if (given) parms.urlLength = 0;
            EXPECT_EQ(change(host.extension, &parms, &host.journal), vx::QUILLON_BAD_URL);
        }
    EXPECT_EQ(outline(host, ""), "");
}

TEST(CollectionDelete, spares_what_is_not_known_to_be_empty) {
    expectOutcomes<FakeHost>("quillonCollectionDelete", removeEmpty, R"(
        => 00000000: HEAD 200, HEAD 200, OPTIONS 200, PROPFIND 207 response1, DELETE 204
        member => 81FFC81B: HEAD 200, HEAD 200, OPTIONS 200, PROPFIND 207 response1, collection either is or may not be empty and deleteAll was not specified
        HEAD -, HEAD 404 => 81FFC808: HEAD 200, HEAD 404, journal 4 Collection URL does not exist., quillonCollectionListOpen InstHead returned status=404
        HEAD 404 => 81FFC808: HEAD 404, quillonCollectionHandleAcquire InstHead returned status=404, journal 4 81FFC803, collection handle not acquired
    )");
}

TEST(CollectionDelete, closes_what_it_looked_into_after_the_request) {
    FakeHost host;
    EXPECT_EQ(removeEmpty(host), vx::VX_SUCCESS);
    const std::string all = host.transcript();
    EXPECT_NE(
        all.find("proxy \"p\" user \"ann\" password \"sesame!\" option 3 for journal context1"),
        all.npos);
    EXPECT_EQ(all.substr(all.find("client1 DELETE")), lines(R"(client1 DELETE -> 204
        2 "quillonCollectionListClose called"
        response1 Destroy
        2 "quillonCollectionHandleRelease called"
        client2 Destroy
        context1 Destroy
        client1 Destroy
        2 "quillonCollectionDelete returning rc=00000000")"));
}

// The host may have put its own function into the table.
TEST(CollectionDelete, counts_through_the_table) {
    FakeHost host;
    host.extension->operations.quillonCollectionListOpen =
        [](vx::CollectionHandle* collection, vx::Transcoder* narrow, const char* name,
           vx::Journal* journal) -> vx::CollectionListHandle* {
        EXPECT_EQ(narrow, &fake().pathTranscoder);
        EXPECT_STREQ(name, "name");
        EXPECT_STREQ(collection->genericName, "name");
        EXPECT_EQ(journal, &fake().journal);
        EXPECT_EQ(collection->flags, vx::LIST_INCLUDE_COLLECTIONS | vx::LIST_COUNT_ONLY);
        return nullptr;
    };
    EXPECT_EQ(removeEmpty(host), vx::QUILLON_UNEXPECTED_STATUS);
}

TEST(CollectionChange, every_allocation_fails_cleanly) {
    everyAllocationFails<FakeHost>(create);
    everyAllocationFails<FakeHost>(removeAll);
    everyAllocationFails<FakeHost>([](FakeHost& host) {
        // Whatever keeps a delete from looking into the collection has this status.
        const vx::Status rc = removeEmpty(host);
        return rc == vx::QUILLON_UNEXPECTED_STATUS ? vx::VX_NO_MEMORY : rc;
    });
}

}  // namespace
