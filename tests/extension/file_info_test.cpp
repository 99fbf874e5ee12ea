// From the elements of a response to the record of a member.
#include "vxext/src/file_info.hpp"

#include "tests/extension/fake_host.hpp"
#include "vxext/src/datetime.hpp"

namespace {

using namespace test;

std::string date(double value) {
    return vx::squillonDateMissing(value) ? "-" : fmt::format("{}", value);
}

// The record as a line: name, narrow name, dates, size, flags.
std::string shown(const vx::FileInfo& info) {
    EXPECT_EQ(info.next, nullptr);
    EXPECT_TRUE(!info.narrowName || info.narrowName[info.narrowNameLength] == '\0');
    return fmt::format("{}|{}|{}|{}|{}|{}",
                       info.name ? narrow({info.name, size_t(info.nameLength)}) : "none",
                       info.narrowName ? info.narrowName : "none", date(info.created),
                       date(info.modified), info.size, info.flags);
}

// The record, unless the status is a failure, which leaves it unreadable.
std::string retrieve(FakeHost& host, Tree tree, vx::Status status = vx::VX_SUCCESS,
                     bool transcoder = true) {
    std::vector<Tree> top = {std::move(tree)};
    vx::FileInfo info{};
    EXPECT_EQ(
        vx::squillonFileInfoRetrieve(host.extension, transcoder ? &host.pathTranscoder : nullptr,
                                     nodesOf(top), &info, &host.journal),
        status);
    const std::string line = status == vx::VX_SUCCESS ? shown(info) : "";
    vx::squillonFileInfoReset(&host.pool, &info);
    return line;
}

const std::vector<Tree> collection = {element(U"resourcetype", {element(U"collection")})};

TEST(FileInfo, takes_the_name_and_looks_into_the_first_propstat) {
    const std::pair<Tree, const char*> rows[] = {
        {response(U"/dav/report.txt"), "report.txt|report.txt|-|-|0|0"},
        {response(U"/dav/my%20file.txt"), "my%20file.txt|my%20file.txt|-|-|0|0"},
        {response(U"\xE4.txt"), "ä.txt|ä.txt|-|-|0|0"},
        {response(U"/dav/dir/", collection), "none|none|-|-|0|1"},
        {response(U""), "none|none|-|-|0|0"},
        {element(U"response",
                 {comment(), text(U"\n"), element(U"status", U"x"),
                  element(U"propstat", {element(U"status", U"HTTP/1.1 200 OK"), element(U"prop")}),
                  element(U"propstat", {element(U"prop", collection)}),
                  element(U"href", {cdata(U"/b")}), element(U"href", U"/c")}),
         "b|b|-|-|0|0"},
        {element(U"response", {element(U"href"), element(U"propstat", {element(U"prop")})}),
         "none|none|-|-|0|0"},
    };
    FakeHost host;
    for (const auto& [tree, info] : rows) EXPECT_EQ(retrieve(host, tree), info);
    const Tree named = response(U"/dav/a", {element(U"displayname", U"other")});
    EXPECT_EQ(retrieve(host, named, vx::VX_SUCCESS, false), "a|none|-|-|0|0");
}

TEST(FileInfo, takes_properties) {
    const auto sizes = [](std::u32string first, std::u32string second) {
        return std::vector{element(U"getcontentlength", first),
                           element(U"getcontentlength", second)};
    };
    const std::pair<std::vector<Tree>, const char*> rows[] = {
        {{element(U"displayname", U"A b")}, "A b|A b|-|-|0|0"},
        {{element(U"displayname", {cdata(U"Dir")})}, "Dir|Dir|-|-|0|0"},
        {{element(U"displayname", U"")}, "a|a|-|-|0|0"},
        {{element(U"displayname", {element(U"b")})}, "a|a|-|-|0|0"},
        {{element(U"creationdate", U"12"), element(U"getlastmodified", U"34")}, "a|a|12|34|0|0"},
        {{element(U"creationdate", U"12"), element(U"creationdate", U"soon")}, "a|a|-|-|0|0"},
        {{text(U" "), element(U"getcontentlength", U"1024"), comment()}, "a|a|-|-|1024|0"},
        {sizes(U"7", U"18446744073709551617"), "a|a|-|-|1|0"},
        {sizes(U"7", U" 1024"), "a|a|-|-|0|0"},
        {sizes(U"7", U"1,024"), "a|a|-|-|0|0"},
        {sizes(U"7", U"-1"), "a|a|-|-|0|0"},
        {sizes(U"7", U"1024a"), "a|a|-|-|0|0"},
        {sizes(U"0", U""), "a|a|-|-|0|0"},
        {{element(U"resourcetype")}, "a|a|-|-|0|0"},
        {{element(U"resourcetype", {element(U"x"), text(U" "), element(U"collection")})},
         "a|a|-|-|0|1"},
        {{element(U"resourcetype", {text(U" "), element(U"collection")})}, "a|a|-|-|0|0"},
    };
    FakeHost host;
    for (const auto& [properties, info] : rows)
        EXPECT_EQ(retrieve(host, response(U"/a", properties)), info);
}

TEST(FileInfo, narrows_in_four_growing_tries) {
    const char fourth[] = R"(path "abc" into 3 -> 803FE807
        path "abc" into 6 -> 803FE807
        path "abc" into 12 -> 803FE807
        path "abc" into 24)";
    const struct {
        const char* script;
        bool display;
        vx::Status status;
        const char* info;
        std::string transcript;
    } rows[] = {
        {"path small *3", false, vx::VX_SUCCESS, "abc|abc|-|-|0|0", fourth},
        {"path small *4", false, vx::VX_BUFFER_TOO_SMALL, "", std::string{fourth} + R"( -> 803FE807
            3 "squillonFileInfoRetrieve too many transcode tries for narrow member name")"},
        {"path rc=80000010", false, 0x80000010u, "", R"(path "abc" into 3 -> 80000010
            3 "squillonFileInfoRetrieve transcode for narrow member name returned=-2147483632")"},
        {"path small *4", true, vx::VX_SUCCESS, "none|none|-|-|5|0", R"(
            path "ab" into 8 -> 803FE807
            path "ab" into 16 -> 803FE807
            path "ab" into 32 -> 803FE807
            path "ab" into 64 -> 803FE807
            3 "squillonFileInfoRetrieve too many transcoding tries for narrow member name")"},
        {"path rc=80000010", true, vx::VX_SUCCESS, "none|none|-|-|5|0", R"(
            path "ab" into 8 -> 80000010
            3 "squillonFileInfoRetrieve too many transcoding tries for narrow member name")"},
    };
    const Tree plain = response(U"/dav/abc", {element(U"displayname", U"abc")});
    const Tree display =
        response(U"/d/", {element(U"displayname", U"ab"), element(U"getcontentlength", U"5")});
    for (const auto& row : rows) {
        FakeHost host;
        host.script = Script{row.script};
        EXPECT_EQ(retrieve(host, row.display ? display : plain, row.status), row.info);
        EXPECT_EQ(host.transcript(), lines(row.transcript));
    }
}

TEST(FileInfo, refuses_a_response_without_properties) {
    const char noPropstat[] = R"(journal 4 "propstat element could not be found."
        3 "squillonFileInfoRetrieve propstat element not found")";
    const char noProp[] = R"(3 "squillonFileInfoRetrieve prop element not found"
        journal 4 "prop element could not be found.")";
    const std::pair<std::vector<Tree>, const char*> rows[] = {
        {{}, noPropstat},
        {{text(U"propstat"), element(U"prop")}, noPropstat},
        {{element(U"propstat")}, noProp},
        {{element(U"propstat", {element(U"status", U"x")}),
          element(U"propstat", {element(U"prop")})},
         noProp},
    };
    FakeHost host;
    for (const auto& [children, transcript] : rows) {
        retrieve(host, element(U"response", children), vx::QUILLON_BAD_RESPONSE);
        EXPECT_EQ(host.transcript(), lines(transcript));
    }
}

}  // namespace
