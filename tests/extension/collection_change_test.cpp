// Creation and deletion of collections.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Of a collection without members, unless the script has "member"; "all": members go, too;
// "disabled": the journal is. Delete opens the collection through the table.
template <auto operation>
vx::Status change(FakeHost& host) {
    const std::vector<Tree> type = {element(U"resourcetype", {element(U"collection")})};
    host.response = {element(U"multistatus", {response(U"http://h/c/", type)})};
    if (host.script.has("member"))
        host.response[0].children.push_back(response(U"http://h/c/d/", type));
    host.extension->journalEnabled = !host.script.has("disabled");
    static auto* const listOpen = host.extension->operations.quillonCollectionListOpen;
    host.extension->operations.quillonCollectionListOpen = [](auto* collection, auto... rest) {
        fake().say("list {} flags {}", collection->genericName, collection->flags);
        return listOpen(collection, rest...);
    };
    auto parms = collectionParms<vx::CollectionOpParms>(host);
    parms.genericName = "name";
    parms.clientOption = 3;
    parms.deleteAll = host.script.has("all");
    return (host.extension->operations.*operation)(host.extension, &parms, &host.journal);
}

// A disabled journal is handed to the third attempt to make a client alone.
TEST(CollectionCreate, sends_one_request) {
    expectTranscripts<FakeHost>(
        "collection_create", {""},
        {"CreateClient2 null *2, disabled", "CreateClient2 null *3, disabled", "MKCOL 200",
         "MKCOL 201 rc=80000010", "url null", "url length=0", "url length=-1", "credentials null",
         "credentials length=0", "credentials length=-1"},
        change<&vx::Operations::quillonCollectionCreate>);
}

TEST(CollectionDelete, spares_what_may_have_members_and_closes_after_the_request) {
    expectTranscripts<FakeHost>("collection_delete", {""},
                                {"all", "member", "DELETE 204 rc=80000010", "url null",
                                 "url length=0", "url length=-1", "credentials length=-1"},
                                change<&vx::Operations::quillonCollectionDelete>);
}

}  // namespace
