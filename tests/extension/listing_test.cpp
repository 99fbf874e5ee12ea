#include "tests/extension/operation.hpp"

namespace {

using namespace test;

const std::vector<Tree> collectionType = {element(U"resourcetype", {element(U"collection")})};
const Tree self = response(U"http://h/c", collectionType);
const Tree sub = response(U"http://h/c/sub/", collectionType);
const Tree a = response(U"http://h/c/a");
const Tree b = response(U"http://h/c/b");

std::vector<Tree> multistatus(std::vector<Tree> responses) {
    return {element(U"multistatus", std::move(responses))};
}

vx::CollectionListHandle* open(CollectionHost& host) {
    return host.operations.quillonCollectionListOpen(host.collection, &host.pathTranscoder, "list",
                                                     &host.journal);
}

// The names in the order of the chain, and the count.
std::string shown(const vx::CollectionListHandle* list) {
    std::string names;
    for (const vx::FileInfo* info = list->first; info; info = info->next)
        names += (info->narrowName ? info->narrowName : "-") + std::string{" "};
    return names + std::to_string(list->memberCount);
}

TEST(Listing, asks_for_the_members_and_sorts_them) {
    CollectionHost host;
    host.response = multistatus({self, b, text(U"\n"), a, response(U"http://h/c/a.txt")});
    vx::CollectionListHandle* list = open(host);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionListOpen called"
        client1 HEAD -> 200
        client1 OPTIONS -> 200
        CreateDocument 304 bytes journal -> request1
        client1 PROPFIND depth 1 request1 -> 207 response1
        path "c" into 1
        path "b" into 1
        path "a" into 1
        path "a.txt" into 5
        request1 Destroy
        2 "quillonCollectionListOpen returning cListp=set")"));
    EXPECT_EQ(shown(list), "a.txt a b 3");
    EXPECT_EQ(std::string(list->magic, 4) + list->genericName, "nevolist");
    EXPECT_EQ(list->headLink, &list->head);
    EXPECT_EQ(list->head, list->first);
    EXPECT_EQ(list->collection, host.collection);
    const std::u32string_view body{reinterpret_cast<const char32_t*>(host.requestBody.data()), 76};
    EXPECT_EQ(body,
              U"<?xml version=\"1.0\"?> <d:propfind xmlns:d=\"DAV:\"> <d:allprop/> </d:propfind>");
    EXPECT_EQ(list->release(list), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "2 \"quillonCollectionListClose called\"\nresponse1 Destroy\n");
}

TEST(Listing, holds_what_the_collections_options_ask_for) {
    const uint32_t all = vx::LIST_COLLECTIONS_OPTION;
    const uint32_t count = vx::COUNT_ONLY_OPTION;
    const struct {
        uint32_t options;
        std::vector<Tree> top;
        const char* list;
    } rows[] = {
        {0, multistatus({self}), "0"},
        {0, multistatus({sub, a, self, b}), "a b 2"},
        {all, multistatus({sub, a, self, b}), "a b - 3"},
        {count, multistatus({sub, a, self, b}), "2"},
        {all | count, multistatus({sub, a, self}), "2"},
        {all, multistatus({response(U"/c/", collectionType)}), "- 1"},  // the test is textual
        {0, {}, "0"},
        {0, {text(U"\n")}, "0"},
        {0, {text(U"\n"), a}, "a 1"},
        {0, {comment(), element(U"multistatus", {text(U"\n"), a})}, "a 1"},
        {0, {element(U"x", {element(U"multistatus", {a})})}, "a 1"},
    };
    for (const auto& row : rows) {
        CollectionHost host{"", row.options};
        host.response = row.top;
        vx::CollectionListHandle* list = open(host);
        EXPECT_EQ(shown(list), row.list);
        const bool walked = !row.top.empty() && row.top.back().type != vx::NODE_TEXT;
        EXPECT_EQ(list->headLink != nullptr, walked);
        host.operations.quillonCollectionListClose(list);
    }
}

// The outlines end in the collection's last HTTP status.
void expectFailures(const std::vector<Tree>& top, std::string_view rows) {
    const auto openFailing = [&](CollectionHost& host) {
        host.response = top;
        EXPECT_EQ(open(host), nullptr);
        EXPECT_EQ(host.lines.back(), "2 \"quillonCollectionListOpen returning cListp=null\"");
        host.say(fmt::format("3 \"status {}\"", host.collection->lastStatus));
        return vx::VX_SUCCESS;
    };
    expectOutcomes<CollectionHost>("quillonCollectionListOpen", openFailing, rows);
}

TEST(Listing, that_fails_leaves_nothing) {
    expectFailures({}, R"(
        HEAD rc=80000010 => 00000000: HEAD 80000010, InstHead returned rc=80000010, status -1
        HEAD 404 => 00000000: HEAD 404, journal 4 Collection URL does not exist., InstHead returned status=404, status 404
        OPTIONS rc=80000010 => 00000000: HEAD 200, OPTIONS 80000010, InstOptions returned rc=80000010, status 200
        OPTIONS 500 => 00000000: HEAD 200, OPTIONS 500, InstOptions returned status=500, status 500
        OPTIONS allow=0xFFDFFFFF => 00000000: HEAD 200, OPTIONS 200, journal 4 PROPFIND method not supported., PROPFIND method not supported, status 200
        CreateDocument null => 00000000: HEAD 200, OPTIONS 200, CreateDocument null, journal 4 XML document for PROPFIND request could not be created., XML for PROPFIND not created, status 200
        PROPFIND rc=80000010 => 00000000: HEAD 200, OPTIONS 200, PROPFIND 80000010 null, InstPropFind returned rc=80000010, status 200
        PROPFIND 405 null => 00000000: HEAD 200, OPTIONS 200, PROPFIND 405 null, journal 4 No info returned for PROPFIND request., InstPropFind returned no info, status 405
        PROPFIND 404 => 00000000: HEAD 200, OPTIONS 200, PROPFIND 404 response1, InstPropFind returned status=404, status 404
    )");
    expectFailures({element(U"multistatus", {element(U"x"), a})}, R"(
        => 00000000: HEAD 200, OPTIONS 200, PROPFIND 207 response1, error parsing xml, no response node found, journal 4 XML response from PROPFIND request could not be parsed., status 207
    )");
    expectFailures(multistatus({a, b, element(U"other")}), R"(
        => 00000000: HEAD 200, OPTIONS 200, PROPFIND 207 response1, journal 4 propstat element could not be found., squillonFileInfoRetrieve propstat element not found, FileInfoRetrieve returned rc=81FFC813, status 207
    )");
}

TEST(Listing, survives_each_lack_of_memory) {
    everyAllocationFails<CollectionHost>(
        [](CollectionHost& host) {
            host.response =
                multistatus({self, b, a, response(U"/c", {element(U"displayname", U"d")})});
            vx::CollectionListHandle* list = open(host);
            if (!list) return vx::VX_NO_MEMORY;
            EXPECT_EQ(shown(list), "a b d 3");
            host.operations.quillonCollectionListClose(list);
            return vx::VX_SUCCESS;
        },
        noMemoryFor(
            "quillonCollectionListOpen",
            {"collection list handle", "collection list generic name", "file info struct"}));
}

}  // namespace
