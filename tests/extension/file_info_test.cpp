// From the elements of a response to the record of a member.
#include "vxext/src/file_info.hpp"

#include <fmt/format.h>

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
    return fmt::format(
        "{}|{}|{}|{}|{}|{}", info.name ? narrow({info.name, size_t(info.nameLength)}) : "none",
        info.narrowName ? std::string(info.narrowName, size_t(info.narrowNameLength)) : "none",
        date(info.created), date(info.modified), info.size, info.flags);
}

struct Retrieved {
    vx::Status status;
    std::string info;
    std::string transcript;
};

Retrieved retrieve(FakeHost& host, const Tree& tree, bool transcoder = true) {
    Nodes nodes;
    const std::vector<Tree> top = {tree};
    vx::FileInfo info{};
    Retrieved result;
    result.status =
        vx::squillonFileInfoRetrieve(host.extension, transcoder ? &host.pathTranscoder : nullptr,
                                     nodes.build(top), &info, &host.journal);
    result.transcript = host.transcript();
    if (result.status == vx::VX_SUCCESS) result.info = shown(info);  // else not to be read
    vx::squillonFileInfoReset(&host.pool, &info);
    return result;
}

TEST(FileInfo, takes_name_and_properties) {
    const std::vector<Tree> collection = {element(U"resourcetype", {element(U"collection")})};
    const struct {
        Tree response;
        const char* info;
    } rows[] = {
        {response(U"/dav/report.txt"), "report.txt|report.txt|-|-|0|0"},
        {response(U"/dav/my%20file.txt"), "my%20file.txt|my%20file.txt|-|-|0|0"},
        {response(U"\xE4.txt"), "ä.txt|ä.txt|-|-|0|0"},
        {response(U"/dav/dir/", collection), "none|none|-|-|0|1"},
        {response(U""), "none|none|-|-|0|0"},
        {response(U"/a", {element(U"displayname", U"A b")}), "A b|A b|-|-|0|0"},
        {response(U"/d/", {element(U"displayname", {cdata(U"Dir")})}), "Dir|Dir|-|-|0|0"},
        {response(U"/a", {element(U"displayname", U"")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"displayname", {element(U"b")})}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"creationdate", U"12"), element(U"getlastmodified", U"34")}),
         "a|a|12|34|0|0"},
        {response(U"/a", {element(U"creationdate", U"12"), element(U"creationdate", U"soon")}),
         "a|a|-|-|0|0"},
        {response(U"/a", {text(U" "), element(U"getcontentlength", U"1024"), comment(U"!")}),
         "a|a|-|-|1024|0"},
        {response(U"/a", {element(U"getcontentlength", U"18446744073709551617")}), "a|a|-|-|1|0"},
        {response(U"/a", {element(U"getcontentlength", U" 1024")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"getcontentlength", U"1,024")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"getcontentlength", U"-1")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"getcontentlength", U"1024a")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"getcontentlength", U"")}), "a|a|-|-|0|0"},
        {response(U"/a", {element(U"getcontentlength", U"7"), element(U"getcontentlength", U"x")}),
         "a|a|-|-|0|0"},
        {response(U"/a", {element(U"resourcetype")}), "a|a|-|-|0|0"},
        {response(U"/a",
                  {element(U"resourcetype", {element(U"x"), text(U" "), element(U"collection")})}),
         "a|a|-|-|0|1"},
        {response(U"/a", {element(U"resourcetype", {text(U" "), element(U"collection")})}),
         "a|a|-|-|0|0"},
        {element(U"response",
                 {comment(U"!"), text(U"\n"), element(U"status", U"x"),
                  element(U"propstat", {element(U"status", U"HTTP/1.1 200 OK"), element(U"prop")}),
                  element(U"propstat", {element(U"prop", collection)}),
                  element(U"href", {cdata(U"/b")}), element(U"href", U"/c")}),
         "b|b|-|-|0|0"},
        {element(U"response", {element(U"href"), element(U"propstat", {element(U"prop")})}),
         "none|none|-|-|0|0"},
    };
    for (const auto& row : rows) {
        FakeHost host;
        const Retrieved result = retrieve(host, row.response);
        EXPECT_EQ(result.info, row.info);
        EXPECT_EQ(result.status, vx::VX_SUCCESS);
    }
}

TEST(FileInfo, narrows_in_four_growing_tries) {
    const Tree plain = response(U"/dav/abc", {element(U"displayname", U"abc")});
    const Tree display =
        response(U"/d/", {element(U"displayname", U"ab"), element(U"getcontentlength", U"5")});
    const struct {
        const char* script;
        const Tree& tree;
        vx::Status status;
        const char* info;
        const char* transcript;
    } rows[] = {
        {"path small *3", plain, vx::VX_SUCCESS, "abc|abc|-|-|0|0", R"(
            path "abc" into 3 -> 803FE807
            path "abc" into 6 -> 803FE807
            path "abc" into 12 -> 803FE807
            path "abc" into 24)"},
        {"path small *4", plain, vx::VX_BUFFER_TOO_SMALL, "", R"(
            path "abc" into 3 -> 803FE807
            path "abc" into 6 -> 803FE807
            path "abc" into 12 -> 803FE807
            path "abc" into 24 -> 803FE807
            3 "squillonFileInfoRetrieve too many transcode tries for narrow member name")"},
        {"path rc=80000010", plain, 0x80000010u, "", R"(
            path "abc" into 3 -> 80000010
            3 "squillonFileInfoRetrieve transcode for narrow member name returned=-2147483632")"},
        {"path small *4", display, vx::VX_SUCCESS, "none|none|-|-|5|0", R"(
            path "ab" into 8 -> 803FE807
            path "ab" into 16 -> 803FE807
            path "ab" into 32 -> 803FE807
            path "ab" into 64 -> 803FE807
            3 "squillonFileInfoRetrieve too many transcoding tries for narrow member name")"},
        {"path rc=80000010", display, vx::VX_SUCCESS, "none|none|-|-|5|0", R"(
            path "ab" into 8 -> 80000010
            3 "squillonFileInfoRetrieve too many transcoding tries for narrow member name")"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.script);
        FakeHost host;
        host.script = Script{row.script};
        const Retrieved result = retrieve(host, row.tree);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.transcript, lines(row.transcript));
        EXPECT_EQ(result.info, row.info);
    }
}

TEST(FileInfo, refuses_a_response_without_properties) {
    const char noPropstat[] = R"(
        journal 4 "propstat element could not be found."
        3 "squillonFileInfoRetrieve propstat element not found")";
    const char noProp[] = R"(
        3 "squillonFileInfoRetrieve prop element not found"
        journal 4 "prop element could not be found.")";
    const struct {
        Tree tree;
        const char* transcript;
    } rows[] = {
        {element(U"response"), noPropstat},
        {element(U"response", {text(U"propstat"), element(U"prop")}), noPropstat},
        {element(U"response", {element(U"propstat")}), noProp},
        {element(U"response", {element(U"propstat", {element(U"status", U"x")}),
                               element(U"propstat", {element(U"prop")})}),
         noProp},
    };
    for (const auto& row : rows) {
        FakeHost host;
        const Retrieved result = retrieve(host, row.tree);
        EXPECT_EQ(result.status, vx::QUILLON_BAD_RESPONSE);
        EXPECT_EQ(result.transcript, lines(row.transcript));
    }
}

TEST(FileInfo, without_a_transcoder_has_no_narrow_name) {
    FakeHost host;
    const Tree tree = response(U"/dav/a", {element(U"displayname", U"other")});
    EXPECT_EQ(retrieve(host, tree, false).info, "a|none|-|-|0|0");
}

}  // namespace
