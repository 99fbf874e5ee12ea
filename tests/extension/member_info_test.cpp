#include "tests/extension/operation.hpp"
#include "vxext/src/datetime.hpp"

namespace {

using namespace test;

const std::vector<Tree> answer = {element(
    U"multistatus",
    {response(U"/c/m.txt", {element(U"creationdate", U"5"), element(U"getlastmodified", U"7"),
                            element(U"getcontentlength", U"9")}),
     response(U"/c/other")})};

vx::Status info(MemberHost& host) {
    return host.operations.quillonFileInfo(host.member, &host.pathTranscoder, &host.journal);
}

TEST(MemberInfo, keeps_what_does_not_point_into_the_document) {
    MemberHost host{"OPTIONS 500 allow=0x20000000"};
    host.response = answer;
    EXPECT_EQ(info(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileInfo called"
        client2 OPTIONS -> 500
        client2 HEAD -> 200
        CreateDocument 304 bytes journal -> request1
        client2 PROPFIND depth 0 request1 -> 207 response1
        path "m.txt" into 5
        ParseDate "5"
        ParseDate "7"
        response1 Destroy
        request1 Destroy
        2 "quillonFileInfo returning rc=00000000")"));
    const vx::FileInfo* kept = host.member->fileInfo;
    EXPECT_EQ(kept->name, nullptr);
    EXPECT_EQ(kept->href, nullptr);
    EXPECT_STREQ(kept->narrowName, "m.txt");
    EXPECT_EQ(kept->nameLength * 100 + kept->hrefLength, 508u);
    EXPECT_EQ(kept->created + kept->modified + double(kept->size), 21);
    EXPECT_EQ(host.member->allow, vx::ALLOW_DELETE);

    EXPECT_EQ(info(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.member->fileInfo, kept);
    host.response = {};  // without a root nothing changes
    EXPECT_EQ(info(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.member->fileInfo->modified, 7);
}

TEST(MemberInfo, of_a_missing_member_is_empty) {
    MemberHost host{"HEAD -, HEAD 404"};
    host.response = answer;
    EXPECT_EQ(info(host) + info(host), vx::VX_SUCCESS);
    EXPECT_EQ(outline(host, "quillonFileInfo"),
              "OPTIONS 200, HEAD 200, PROPFIND 207 response1, OPTIONS 200, HEAD 404");
    const vx::FileInfo* kept = host.member->fileInfo;
    EXPECT_EQ(host.member->flags & vx::FILE_EXISTS, 0u);
    EXPECT_TRUE(vx::squillonDateMissing(kept->created) && vx::squillonDateMissing(kept->modified));
    EXPECT_EQ(kept->narrowName, nullptr);
    EXPECT_EQ(kept->nameLength + kept->size + kept->hrefLength, 0u);
}

TEST(MemberInfo, that_fails_drops_the_record) {
    const auto infoAgain = [](MemberHost& host) {
        Script script = std::exchange(host.script, Script{""});
        host.response = answer;
        EXPECT_EQ(info(host), vx::VX_SUCCESS);
        host.lines.clear();
        host.script = script;
        host.response = {element(U"multistatus")};
        const vx::Status rc = info(host);
        EXPECT_EQ(host.member->fileInfo, nullptr);
        return rc;
    };
    expectOutcomes<MemberHost>("quillonFileInfo", infoAgain, R"(
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010
        HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010
        HEAD 401 => 81FFC808: OPTIONS 200, HEAD 401, InstHead unexpected status=401
        CreateDocument null => 81FFC811: OPTIONS 200, HEAD 200, CreateDocument null, journal 4 XML document for PROPFIND request could not be created., XML document creation failed
        PROPFIND rc=80000010 => 80000010: OPTIONS 200, HEAD 200, PROPFIND 80000010 null, InstPropFind failed rc=80000010
        PROPFIND 404 null => 81FFC811: OPTIONS 200, HEAD 200, PROPFIND 404 null, journal 4 No info returned for PROPFIND request., PROPFIND returned no info status=404
        PROPFIND 404 => 81FFC808: OPTIONS 200, HEAD 200, PROPFIND 404 response2, PROPFIND returned unexpected status=404
        => 81FFC813: OPTIONS 200, HEAD 200, PROPFIND 207 response2, unexpected XML response
    )");
}

TEST(MemberInfo, survives_each_lack_of_memory) {
    everyAllocationFails<MemberHost>(
        [](MemberHost& host) {
            host.response = answer;
            return info(host);
        },
        noMemoryFor("quillonFileInfo", {"info"}));
}

}  // namespace
