// Creation and deletion of collections.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Of a collection without members, unless the script has "member"; "all": members go, too.
template <auto operation>
vx::Status change(FakeHost& host) {
    const std::vector<Tree> type = {element(U"resourcetype", {element(U"collection")})};
    host.response = {element(U"multistatus", {response(U"http://h/c/", type)})};
    if (host.script.has("member"))
        host.response[0].children.push_back(response(U"http://h/c/d/", type));
    auto parms = collectionParms<vx::CollectionOpParms>(host);
    parms.proxy = "p";
    parms.proxyLength = 1;
    parms.genericName = "name";
    parms.clientOption = 3;
    parms.deleteAll = host.script.has("all");
    return (host.extension->operations.*operation)(host.extension, &parms, &host.journal);
}
constexpr auto create = change<&vx::Operations::quillonCollectionCreate>;
constexpr auto remove = change<&vx::Operations::quillonCollectionDelete>;

// A journal that is disabled is handed to the third attempt to make a client alone.
TEST(CollectionCreate, sends_one_request) {
    FakeHost host{"CreateClient2 null *2"};
    host.extension->journalEnabled = 0;
    EXPECT_EQ(create(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(text "http://h/c/" into 44
        text "p" into 4
        text "ann" into 12
        text "sesame!" into 28
        CreateClient2 "http://h/c/" "p" "ann" "sesame!" option 3 for journal -> null
        CreateClient2 "http://h/c/" "p" "ann" "sesame!" option 3 for journal -> null
        CreateClient2 "http://h/c/" "p" "ann" "sesame!" option 3 for journal journal -> client1
        client1 MKCOL -> 201
        client1 Destroy)"));
}

const std::string unconnected = R"(
    url null => 81FFC801:
    url length=0 => 81FFC801:
    memory 1 => 803FC002: transcoding collection name returned rc=803FC002
    text rc=80000001 => 80000001: text 80000001, transcoding collection name returned rc=80000001
    text -, text rc=80000001 => 80000001: text 80000001, transcoding proxy name returned rc=80000001
    text - *2, text rc=80000001 => 80000001: text 80000001, transcoding user name returned rc=80000001
    text - *3, text rc=80000001 => 80000001: text 80000001, transcoding password returned rc=80000001
    CreateClient2 null *3 => 81FFC811: CreateClient2 null, CreateClient2 null, CreateClient2 null, journal 4 HTTP client instance could not be created. 42, create connection returned rc=81FFC811
)";

TEST(CollectionCreate, failures_are_logged) {
    expectOutcomes<FakeHost>("quillonCollectionCreate", create, unconnected + R"(
        => 00000000: MKCOL 201
        MKCOL 200 => 81FFC808: MKCOL 200, httpInstMkcol returned rc=00000000 status=200
        MKCOL 403 => 81FFC818: MKCOL 403, httpInstMkcol returned rc=00000000 status=403
        MKCOL 405 => 81FFC819: MKCOL 405, httpInstMkcol returned rc=00000000 status=405
        MKCOL 409 => 81FFC81A: MKCOL 409, httpInstMkcol returned rc=00000000 status=409
        MKCOL rc=80000001 => 81FFC808: MKCOL 80000001, httpInstMkcol returned rc=80000001 status=-1
        MKCOL rc=80000001 405 => 81FFC808: MKCOL 405 80000001, httpInstMkcol returned rc=80000001 status=405
    )");
}

TEST(CollectionDelete, failures_are_logged_and_what_may_have_members_spared) {
    expectOutcomes<FakeHost>("quillonCollectionDelete", remove, unconnected + R"(
        opened = HEAD 200, HEAD 200, OPTIONS 200, PROPFIND 207 response1
        => 00000000: {opened}, DELETE 204
        member => 81FFC81B: {opened}, collection either is or may not be empty and deleteAll was not specified
        HEAD -, HEAD 404 => 81FFC808: HEAD 200, HEAD 404, journal 4 Collection URL does not exist., quillonCollectionListOpen InstHead returned status=404
        HEAD 404 => 81FFC808: HEAD 404, quillonCollectionHandleAcquire InstHead returned status=404, journal 4 81FFC803, collection handle not acquired
        memory 5 => 81FFC808: quillonCollectionHandleAcquire no memory for collection handle, journal 4 803FC002, collection handle not acquired
        all, DELETE 200 => 00000000: DELETE 200
        all, DELETE 207 => 81FFC808: DELETE 207, httpInstDelete returned rc=00000000 status=207
        all, DELETE 403 => 81FFC81B: DELETE 403, httpInstDelete returned rc=00000000 status=403
        all, DELETE 405 => 81FFC81C: DELETE 405, httpInstDelete returned rc=00000000 status=405
        all, DELETE 409 => 81FFC81D: DELETE 409, httpInstDelete returned rc=00000000 status=409
        all, DELETE rc=80000001 403 => 81FFC808: DELETE 403 80000001, httpInstDelete returned rc=80000001 status=403
    )");
}

TEST(CollectionDelete, opens_through_the_table_and_closes_after_the_request) {
    FakeHost host;
    static auto* const listOpen = host.extension->operations.quillonCollectionListOpen;
    host.extension->operations.quillonCollectionListOpen = [](auto* collection, auto... rest) {
        EXPECT_EQ(fmt::format("{} {}", collection->genericName, collection->flags), "name 24");
        EXPECT_EQ(*(fake().lines.end() - 3),  // before the HEAD and the end of the acquire
                  "CreateClient2 \"http://h/c/\" \"p\" \"ann\" \"sesame!\" option 3 for journal "
                  "context1 journal -> client2");
        auto* list = listOpen(collection, rest...);
        fake().lines = {list->genericName};
        return list;
    };
    EXPECT_EQ(remove(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(name
        client1 DELETE -> 204
        2 "quillonCollectionListClose called"
        response1 Destroy
        2 "quillonCollectionHandleRelease called"
        client2 Destroy
        context1 Destroy
        client1 Destroy
        2 "quillonCollectionDelete returning rc=00000000")"));
}

}  // namespace
