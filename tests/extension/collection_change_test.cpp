// Creation and deletion of collections.
#include "tests/extension/open_collection.hpp"

namespace {

using namespace test;

vx::CollectionOpParms changeParms(FakeHost& host) {
    vx::CollectionOpParms parms{};
    parms.url = collectionUrl.data();
    parms.urlLength = collectionUrl.size();
    parms.user = userName.data();
    parms.userLength = userName.size();
    parms.password = passwordText.data();
    parms.passwordLength = passwordText.size();
    parms.textTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    return parms;
}

const char connected[] = R"(text "http://h/c/" into 44
    text "ann" into 12
    text "sesame!" into 28
    CreateClient2 url "http://h/c/" user "ann" password "sesame!" for journal journal -> client1
)";

struct Request {
    const char* script;
    vx::Status result;
    const char* between;
};

TEST(CollectionCreate, succeeds_with_201_alone) {
    const Request rows[] = {
        {"", vx::VX_SUCCESS, "client1 MKCOL -> 201"},
        {"MKCOL 200", vx::QUILLON_UNEXPECTED_STATUS, R"(client1 MKCOL -> 200
            3 "quillonCollectionCreate httpInstMkcol returned rc=00000000 status=200")"},
        {"MKCOL 403", vx::QUILLON_MKCOL_FORBIDDEN, R"(client1 MKCOL -> 403
            3 "quillonCollectionCreate httpInstMkcol returned rc=00000000 status=403")"},
        {"MKCOL 405", vx::QUILLON_MKCOL_NOT_ALLOWED, R"(client1 MKCOL -> 405
            3 "quillonCollectionCreate httpInstMkcol returned rc=00000000 status=405")"},
        {"MKCOL 409", vx::QUILLON_MKCOL_CONFLICT, R"(client1 MKCOL -> 409
            3 "quillonCollectionCreate httpInstMkcol returned rc=00000000 status=409")"},
        {"MKCOL rc=80000001", vx::QUILLON_UNEXPECTED_STATUS, R"(client1 MKCOL -> 80000001
            3 "quillonCollectionCreate httpInstMkcol returned rc=80000001 status=-1")"},
        {"MKCOL rc=80000001 405", vx::QUILLON_UNEXPECTED_STATUS, R"(client1 MKCOL -> 405 80000001
            3 "quillonCollectionCreate httpInstMkcol returned rc=80000001 status=405")"},
    };
    for (const Request& row : rows) {
        SCOPED_TRACE(row.script);
        FakeHost host{row.script};
        vx::CollectionOpParms parms = changeParms(host);
        EXPECT_EQ(host.extension->operations.quillonCollectionCreate(host.extension, &parms,
                                                                     &host.journal),
                  row.result);
        EXPECT_EQ(host.transcript(),
                  lines(std::string{connected} + row.between + "\nclient1 Destroy"));
        EXPECT_FALSE(host.gaveBack(passwordText));
    }
}

TEST(CollectionDelete, succeeds_with_2xx_but_207) {
    const Request rows[] = {
        {"", vx::VX_SUCCESS, "client1 DELETE -> 204"},
        {"DELETE 200", vx::VX_SUCCESS, "client1 DELETE -> 200"},
        {"DELETE 207", vx::QUILLON_UNEXPECTED_STATUS, R"(client1 DELETE -> 207
            3 "quillonCollectionDelete httpInstDelete returned rc=00000000 status=207")"},
        {"DELETE 403", vx::QUILLON_DELETE_REFUSED, R"(client1 DELETE -> 403
            3 "quillonCollectionDelete httpInstDelete returned rc=00000000 status=403")"},
        {"DELETE 405", vx::QUILLON_DELETE_NOT_ALLOWED, R"(client1 DELETE -> 405
            3 "quillonCollectionDelete httpInstDelete returned rc=00000000 status=405")"},
        {"DELETE 409", vx::QUILLON_DELETE_CONFLICT, R"(client1 DELETE -> 409
            3 "quillonCollectionDelete httpInstDelete returned rc=00000000 status=409")"},
        {"DELETE rc=80000001 403", vx::QUILLON_UNEXPECTED_STATUS, R"(client1 DELETE -> 403 80000001
            3 "quillonCollectionDelete httpInstDelete returned rc=80000001 status=403")"},
    };
    for (const Request& row : rows) {
        SCOPED_TRACE(row.script);
        FakeHost host{row.script};
        vx::CollectionOpParms parms = changeParms(host);
        parms.deleteAll = 1;
        EXPECT_EQ(host.extension->operations.quillonCollectionDelete(host.extension, &parms,
                                                                     &host.journal),
                  row.result);
        char rc[9];
        snprintf(rc, sizeof rc, "%08X", row.result);
        EXPECT_EQ(
            host.transcript(),
            lines("2 \"quillonCollectionDelete called\"\n" + std::string{connected} + row.between +
                  "\nclient1 Destroy\n" + "2 \"quillonCollectionDelete returning rc=" + rc + "\""));
        EXPECT_FALSE(host.gaveBack(passwordText));
    }
}

TEST(CollectionChange, failures_before_the_request_are_logged_in_each_ones_name) {
    const std::pair<const char*, const char*> rows[] = {
        {"text rc=80000001", "transcoding collection name returned rc=80000001"},
        {"text -, text rc=80000001", "transcoding proxy name returned rc=80000001"},
        {"text -, text -, text rc=80000001", "transcoding user name returned rc=80000001"},
        {"text -, text -, text -, text rc=80000001", "transcoding password returned rc=80000001"},
        {"CreateClient2 null *3", "create connection returned rc=81FFC811"},
    };
    for (const auto& [script, message] : rows) {
        SCOPED_TRACE(message);
        for (const bool creates : {true, false}) {
            FakeHost host{script};
            vx::CollectionOpParms parms = changeParms(host);
            parms.proxy = "p";
            parms.proxyLength = 1;
            const vx::Operations& operations = host.extension->operations;
            const auto change =
                creates ? operations.quillonCollectionCreate : operations.quillonCollectionDelete;
            const vx::Status result = change(host.extension, &parms, &host.journal);
            EXPECT_EQ(result, std::string_view{script}.starts_with("text")
                                  ? 0x80000001u
                                  : vx::QUILLON_REQUEST_FAILED);
            const std::string name =
                creates ? "quillonCollectionCreate" : "quillonCollectionDelete";
            EXPECT_NE(host.transcript().find("3 \"" + name + " " + message + "\"\n"),
                      std::string::npos);
            EXPECT_FALSE(host.gaveBack(passwordText));
        }
    }
}

TEST(CollectionChange, a_url_must_be_given) {
    FakeHost host;
    const vx::Operations& operations = host.extension->operations;
    for (auto* change : {operations.quillonCollectionCreate, operations.quillonCollectionDelete}) {
        vx::CollectionOpParms parms = changeParms(host);
        parms.url = nullptr;
        EXPECT_EQ(change(host.extension, &parms, &host.journal), vx::QUILLON_BAD_URL);
        parms = changeParms(host);
        parms.urlLength = 0;
        EXPECT_EQ(change(host.extension, &parms, &host.journal), vx::QUILLON_BAD_URL);
    }
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionDelete called"
        2 "quillonCollectionDelete returning rc=81FFC801"
        2 "quillonCollectionDelete called"
        2 "quillonCollectionDelete returning rc=81FFC801")"));
}

// Stand-ins for the listing, which an operation reaches through the table.
struct Listing : vx::CollectionListHandle {
    FakeHost* host;
    bool opens = true;
};
Listing listing;

void standIn(FakeHost& host, bool opens, uint32_t members) {
    listing = {};
    listing.host = &host;
    listing.opens = opens;
    listing.memberCount = members;
    host.extension->operations.quillonCollectionListOpen =
        [](vx::CollectionHandle* collection, vx::Transcoder* narrow, const char* name,
           vx::Journal* journal) -> vx::CollectionListHandle* {
        EXPECT_EQ(narrow, &listing.host->pathTranscoder);
        EXPECT_STREQ(name, "name");
        EXPECT_STREQ(collection->genericName, "name");
        EXPECT_EQ(journal, &listing.host->journal);
        EXPECT_EQ(collection->flags, vx::LIST_INCLUDE_COLLECTIONS | vx::LIST_COUNT_ONLY);
        listing.host->say("ListOpen");
        return listing.opens ? &listing : nullptr;
    };
    host.extension->operations.quillonCollectionListClose = [](vx::CollectionListHandle* closed) {
        EXPECT_EQ(closed, &listing);
        listing.host->say("ListClose");
        return vx::VX_SUCCESS;
    };
}

const char opened[] = R"(text "http://h/c/" into 44
    text "ann" into 12
    text "sesame!" into 28
    CreateHttpContext journal -> context1
    CreateClient2 url "http://h/c/" user "ann" password "sesame!" option 3 for journal context1 journal -> client2
)";

TEST(CollectionDelete, spares_what_is_not_known_to_be_empty) {
    struct Row {
        const char* script;
        bool opens;
        uint32_t members;
        vx::Status result;
        const char* between;  // from the probe of the opened collection on
    };
    const Row rows[] = {
        {"", true, 0, vx::VX_SUCCESS, R"(client2 HEAD -> 200
            ListOpen
            client1 DELETE -> 204
            ListClose
            client2 Destroy
            context1 Destroy)"},
        {"", true, 1, vx::QUILLON_DELETE_REFUSED, R"(client2 HEAD -> 200
            ListOpen
            3 "quillonCollectionDelete collection either is or may not be empty and deleteAll was not specified"
            ListClose
            client2 Destroy
            context1 Destroy)"},
        {"", false, 0, vx::QUILLON_UNEXPECTED_STATUS, R"(client2 HEAD -> 200
            ListOpen
            client2 Destroy
            context1 Destroy)"},
        {"HEAD 404", true, 0, vx::QUILLON_UNEXPECTED_STATUS, R"(client2 HEAD -> 404
            3 "quillonCollectionHandleAcquire InstHead returned status=404"
            journal 4 81FFC803
            client2 Destroy
            context1 Destroy
            3 "quillonCollectionDelete collection handle not acquired")"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.between);
        FakeHost host{row.script};
        host.logger.threshold = 3;
        standIn(host, row.opens, row.members);
        vx::CollectionOpParms parms = changeParms(host);
        parms.genericName = "name";
        parms.clientOption = 3;
        EXPECT_EQ(host.extension->operations.quillonCollectionDelete(host.extension, &parms,
                                                                     &host.journal),
                  row.result);
        std::string before = connected;
        before.replace(before.find(" for"), 4, " option 3 for");
        EXPECT_EQ(host.transcript(), lines(before + opened + row.between + "\nclient1 Destroy"));
        EXPECT_FALSE(host.gaveBack(passwordText));
    }
}

TEST(CollectionDelete, a_collection_of_one_collection_is_not_empty) {
    FakeHost host;
    host.logger.threshold = 3;
    host.response = {element(
        U"multistatus",
        {response(U"http://h/c/"),
         response(U"http://h/c/d/", {element(U"resourcetype", {element(U"collection")})})})};
    vx::CollectionOpParms parms = changeParms(host);
    EXPECT_EQ(
        host.extension->operations.quillonCollectionDelete(host.extension, &parms, &host.journal),
        vx::QUILLON_DELETE_REFUSED);
    const std::string written = host.transcript();
    EXPECT_NE(written.find("client2 PROPFIND depth 1"), std::string::npos);
    EXPECT_EQ(written.find(" DELETE"), std::string::npos);
}

void expectCleanFailures(vx::Status (*vx::Operations::*change)(vx::ExtensionHandle*,
                                                               vx::CollectionOpParms*,
                                                               vx::Journal*),
                         bool deleteAll) {
    everyAllocationFails([&](FakeHost& host) {
        host.response = {element(U"multistatus", {response(U"http://h/c/")})};
        vx::CollectionOpParms parms = changeParms(host);
        parms.proxy = "p";
        parms.proxyLength = 1;
        parms.genericName = "name";
        parms.deleteAll = deleteAll ? 1 : 0;
        host.startFailing();
        const vx::Status status =
            (host.extension->operations.*change)(host.extension, &parms, &host.journal);
        host.quitFailing();
        // Whatever keeps a delete from looking into the collection has this status.
        return status == vx::QUILLON_UNEXPECTED_STATUS ? vx::VX_NO_MEMORY : status;
    });
}

TEST(CollectionChange, every_allocation_fails_cleanly) {
    expectCleanFailures(&vx::Operations::quillonCollectionCreate, false);
    expectCleanFailures(&vx::Operations::quillonCollectionDelete, true);
    expectCleanFailures(&vx::Operations::quillonCollectionDelete, false);
}

}  // namespace
