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

const Tree nameless = element(U"response", {element(U"propstat", {element(U"prop")})});

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
        {0, multistatus({self, nameless}), "-, 1"},  // in the record that was spared
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
        {element(U"response", {element(U"href", {comment(), text(U"a")}), propstat({})}), "-, 1"},
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

// A first word in the script names an answer of its own. The last line is what was listed, and the
// collection's last HTTP status.
TEST(Listing, asks_for_the_members_and_sorts_them) {
    const std::pair<const char*, std::vector<Tree>> answers[] = {
        {"unlisted", {element(U"multistatus", {element(U"x"), a})}},
        {"bare", multistatus({a, b, element(U"other", {element(U"prop")})})},
        {"unnamed", {element(U"response", {element(U"propstat", {text(U"prop")}), a.children[1]})}},
    };
    const auto openAndClose = [&](CollectionHost& host) {
        host.response = multistatus({self, b, text(U"\n"), a, response(U"http://h/c/a.txt")});
        for (const auto& [word, top] : answers)
            if (host.script.has(word)) host.response = top;
        vx::CollectionListHandle* list = open(host);
        host.say("{} status {}", list ? shown(list) : "none", host.collection->lastStatus);
        if (!list) return vx::VX_SUCCESS;
        EXPECT_EQ(std::string(list->magic, 4) + list->genericName, "nevolist");
        EXPECT_TRUE(list->collection == host.collection && list->head == list->first);
        return list->release(list);
    };
    expectTranscripts<CollectionHost>("listing", {""}, {"unlisted", "bare", "unnamed"},
                                      openAndClose);

    CollectionHost host;
    EXPECT_EQ(host.operations.quillonCollectionListClose(open(host)), vx::VX_SUCCESS);
    const std::u32string_view body{reinterpret_cast<const char32_t*>(host.requestBody.data()), 76};
    EXPECT_EQ(body,
              U"<?xml version=\"1.0\"?> <d:propfind xmlns:d=\"DAV:\"> <d:allprop/> </d:propfind>");
    host.lines.clear();
    EXPECT_EQ(host.operations.quillonCollectionListClose(nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

}  // namespace
