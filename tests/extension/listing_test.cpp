// Listings, and the records that they make of the responses of the server.
#include <cmath>

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

const std::vector<Tree> collection = {element(U"resourcetype", {element(U"collection")})};
const Tree self = response(U"http://h/c", collection);
const Tree sub = response(U"http://h/c/sub/", collection);
const Tree a = response(U"http://h/c/a", {element(U"displayname", U"a")});
const Tree b = response(U"http://h/c/b", {element(U"displayname", U"B")});

std::vector<Tree> multistatus(std::vector<Tree> responses) {
    return {element(U"multistatus", std::move(responses))};
}

vx::CollectionListHandle* open(CollectionHost& host, bool narrow = true) {
    return host.operations.quillonCollectionListOpen(
        host.collection, narrow ? &host.pathTranscoder : nullptr, "list", &host.journal);
}

// The members in their order, "name" or "name|narrow name" where they differ and what else is known
// of each, and the count.
std::string shown(const vx::CollectionListHandle* list) {
    std::string text;
    for (const vx::FileInfo* info = list->first; info; info = info->next) {
        const std::string name = info->name ? narrow({info->name, info->nameLength}) : "-";
        const std::string narrowName = info->narrowName ? info->narrowName : "-";
        EXPECT_EQ(info->narrowNameLength, info->narrowName ? narrowName.size() : 0);
        text += narrowName == name ? name : name + "|" + narrowName;
        if (!std::isnan(info->created)) text += fmt::format(" made {}", info->created);
        if (!std::isnan(info->modified)) text += fmt::format(" changed {}", info->modified);
        if (info->size) text += fmt::format(" size {}", info->size);
        if (info->flags) text += fmt::format(" flags {}", info->flags);
        text += ", ";
    }
    return text + std::to_string(list->memberCount);
}

// The listing, or "nothing" where there was no response to walk.
std::string listed(const std::vector<Tree>& top, uint32_t options = 0, bool narrow = true) {
    CollectionHost host{"", options};
    host.response = top;
    vx::CollectionListHandle* list = open(host, narrow);
    EXPECT_TRUE(!list->headLink || list->headLink == &list->head);
    const std::string text = list->headLink ? shown(list) : "nothing";
    host.operations.quillonCollectionListClose(list);
    return text;
}

TEST(Listing, asks_for_the_members_and_sorts_them) {
    CollectionHost host{"path small *3, path -, path -, path small *4"};
    host.response = multistatus({self, b, text(U"\n"), a, response(U"http://h/c/a.txt")});
    vx::CollectionListHandle* list = open(host);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonCollectionListOpen called"
        client1 HEAD -> 200
        client1 OPTIONS -> 200
        CreateDocument 304 bytes journal -> request1
        client1 PROPFIND depth 1 request1 -> 207 response1
        path "c" into 1 -> 803FE807
        path "c" into 2 -> 803FE807
        path "c" into 4 -> 803FE807
        path "c" into 8
        path "b" into 1
        path "B" into 4 -> 803FE807
        path "B" into 8 -> 803FE807
        path "B" into 16 -> 803FE807
        path "B" into 32 -> 803FE807
        3 "squillonFileInfoRetrieve too many transcoding tries for narrow member name"
        path "a" into 1
        path "a.txt" into 5
        request1 Destroy
        2 "quillonCollectionListOpen returning cListp=set")"));
    EXPECT_EQ(shown(list), "a.txt, a, b, 3");
    EXPECT_EQ(std::string(list->magic, 4) + list->genericName, "nevolist");
    EXPECT_TRUE(list->collection == host.collection && list->head == list->first);
    const std::u32string_view body{reinterpret_cast<const char32_t*>(host.requestBody.data()), 76};
    EXPECT_EQ(body,
              U"<?xml version=\"1.0\"?> <d:propfind xmlns:d=\"DAV:\"> <d:allprop/> </d:propfind>");
    EXPECT_EQ(list->release(list), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "2 \"quillonCollectionListClose called\"\nresponse1 Destroy");
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
        {0, multistatus({sub, a, self, b}), "B, a, 2"},
        {all, multistatus({sub, a, self}), "a, - flags 1, 2"},
        {count, multistatus({sub, a, self, b}), "2"},
        {all | count, multistatus({sub, a, self}), "2"},
        {all, multistatus({response(U"/c/", collection)}), "- flags 1, 1"},  // the test is textual
        {0, {}, "nothing"},
        {0, {text(U"\n")}, "nothing"},
        {0, {comment(), element(U"x", {text(U"\n"), element(U"multistatus", {a})})}, "a, 1"},
        {0, {text(U"\n"), a}, "a, 1"},
    };
    for (const auto& row : rows) EXPECT_EQ(listed(row.top, row.options), row.list);
    EXPECT_EQ(listed(multistatus({b, a}), 0, false), "a|-, b|-, 2");
}

TEST(Listing, takes_names_and_properties) {
    const auto propstat = [](std::vector<Tree> properties) {
        return element(U"propstat", {element(U"status"), element(U"prop", properties)});
    };
    const auto size = [](const char32_t* text) {
        return response(U"a", {element(U"getcontentlength", U"7"), comment(),
                               element(U"getcontentlength", text)});
    };
    const std::pair<Tree, const char*> rows[] = {
        {response(U"/dav/my%20\xE4.txt"), "my%20ä.txt, 1"},
        {response(U""), "-, 1"},
        {response(U"/", {element(U"displayname", {cdata(U"A b")})}), "A b, 1"},
        {response(U"a", {element(U"displayname", U""), element(U"displayname", {comment()})}),
         "a, 1"},
        {element(U"response", {element(U"href"), element(U"href", U"a"), propstat({})}), "-, 1"},
        {element(U"response", {comment(), propstat({}), propstat({element(U"displayname", U"n")}),
                               element(U"href", {cdata(U"/b")})}),
         "b, 1"},
        {response(U"a", {element(U"creationdate", U"1"), element(U"getlastmodified", U"2")}),
         "a made 1 changed 2, 1"},
        {response(U"a", {element(U"creationdate", U"1"), element(U"creationdate", U"soon")}),
         "a, 1"},
        {size(U"1902"), "a size 1902, 1"},
        {size(U"18446744073709551617"), "a size 1, 1"},
        {size(U" 102"), "a, 1"},
        {size(U"1:02"), "a, 1"},
        {size(U"102/"), "a, 1"},
        {size(U""), "a, 1"},
        {response(U"a", {element(U"resourcetype", {element(U"x"), element(U"collection")})}),
         "a flags 1, 1"},
        {response(U"a", {element(U"resourcetype", {text(U" "), element(U"collection")})}), "a, 1"},
    };
    for (const auto& [tree, list] : rows)
        EXPECT_EQ(listed(multistatus({tree}), vx::LIST_COLLECTIONS_OPTION), list);
}

// A first word in the script names an answer of its own. The outlines end in what was listed and in
// the collection's last HTTP status.
TEST(Listing, that_fails_leaves_nothing) {
    const std::pair<const char*, std::vector<Tree>> answers[] = {
        {"unlisted", {element(U"multistatus", {element(U"x"), a})}},
        {"bare", multistatus({a, b, element(U"other", {element(U"prop")})})},
        {"unnamed", {element(U"response", {element(U"propstat", {text(U"prop")}), a.children[1]})}},
    };
    const auto openAndClose = [&](CollectionHost& host) {
        host.response = multistatus({b, a, self});
        for (const auto& [word, top] : answers)
            if (host.script.has(word)) host.response = top;
        vx::CollectionListHandle* list = open(host);
        host.say("3 {}status {}", list ? shown(list) + ", " : "", host.collection->lastStatus);
        return host.operations.quillonCollectionListClose(list);  // null, too
    };
    expectOutcomes<CollectionHost>("quillonCollectionListOpen", openAndClose, R"(
        HEAD rc=80000010 => 00000000: HEAD 80000010, InstHead returned rc=80000010, status -1
        HEAD 404 => 00000000: HEAD 404, journal 4 Collection URL does not exist., InstHead returned status=404, status 404
        OPTIONS rc=80000010 => 00000000: HEAD 200, OPTIONS 80000010, InstOptions returned rc=80000010, status 200
        OPTIONS 500 => 00000000: HEAD 200, OPTIONS 500, InstOptions returned status=500, status 500
        found = HEAD 200, OPTIONS 200
        OPTIONS allow=0xFFDFFFFF => 00000000: {found}, journal 4 PROPFIND method not supported., PROPFIND method not supported, status 200
        CreateDocument null => 00000000: {found}, CreateDocument null, journal 4 XML document for PROPFIND request could not be created., XML for PROPFIND not created, status 200
        PROPFIND rc=80000010 => 00000000: {found}, PROPFIND 80000010 null, InstPropFind returned rc=80000010, status 200
        PROPFIND 405 null => 00000000: {found}, PROPFIND 405 null, journal 4 No info returned for PROPFIND request., InstPropFind returned no info, status 405
        PROPFIND 404 => 00000000: {found}, PROPFIND 404 response1, InstPropFind returned status=404, status 404
        answered = {found}, PROPFIND 207 response1
        unlisted => 00000000: {answered}, error parsing xml, no response node found, journal 4 XML response from PROPFIND request could not be parsed., status 207
        bare => 00000000: {answered}, journal 4 propstat element could not be found., squillonFileInfoRetrieve propstat element not found, FileInfoRetrieve returned rc=81FFC813, status 207
        unnamed => 00000000: {answered}, squillonFileInfoRetrieve prop element not found, journal 4 prop element could not be found., FileInfoRetrieve returned rc=81FFC813, status 207
        => 00000000: {answered}, B, a, 2, status 207
        memory 1 => 00000000: no memory for collection list handle, status -1
        memory 2 => 00000000: no memory for collection list generic name, status -1
        memory 3 => 00000000: {answered}, no memory for file info struct, status 207
        memory 4 => 00000000: {answered}, squillonFileInfoRetrieve no memory for narrow member name, FileInfoRetrieve returned rc=803FC002, status 207
        memory 5 => 00000000: {answered}, squillonFileInfoRetrieve no memory for narrow member name(2), FileInfoRetrieve returned rc=803FC002, status 207
        path rc=80000010 => 00000000: {answered}, path 80000010, squillonFileInfoRetrieve transcode for narrow member name returned=-2147483632, FileInfoRetrieve returned rc=80000010, status 207
        tries = path 803FE807, path 803FE807, path 803FE807, path 803FE807
        path small *4 => 00000000: {answered}, {tries}, squillonFileInfoRetrieve too many transcode tries for narrow member name, FileInfoRetrieve returned rc=803FE807, status 207
    )");
}

}  // namespace
