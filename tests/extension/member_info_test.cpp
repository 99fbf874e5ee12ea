#include "tests/extension/operation.hpp"

namespace {

using namespace test;

const std::vector<Tree> answer = {element(
    U"multistatus",
    {response(U"/c/m.txt", {element(U"creationdate", U"5"), element(U"getlastmodified", U"7"),
                            element(U"getcontentlength", U"9")}),
     response(U"/c/other")})};

vx::Status info(MemberHost& host, std::vector<Tree> response) {
    host.response = std::move(response);
    return host.operations.quillonFileInfo(host.member, &host.pathTranscoder, &host.journal);
}

TEST(MemberInfo, keeps_what_does_not_point_into_the_document) {
    MemberHost host{"OPTIONS 500 allow=0x20000000, HEAD -, HEAD -, HEAD 404"};
    EXPECT_EQ(info(host, answer), vx::VX_SUCCESS);
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
    EXPECT_EQ(host.member->allow, vx::ALLOW_DELETE);
    const vx::FileInfo* kept = host.member->fileInfo;
    EXPECT_EQ(info(host, {}), vx::VX_SUCCESS);  // without a root nothing changes
    EXPECT_TRUE(host.member->fileInfo == kept && !kept->name && !kept->href);
    EXPECT_EQ(fmt::format("{} {} {} {} {} {}", kept->narrowName, kept->nameLength, kept->hrefLength,
                          kept->created, kept->modified, kept->size),
              "m.txt 5 8 5 7 9");

    EXPECT_EQ(info(host, answer), vx::VX_SUCCESS);
    EXPECT_EQ(host.member->flags & vx::FILE_EXISTS, 0u);
    EXPECT_TRUE(host.member->fileInfo == kept && !kept->narrowName);
    EXPECT_EQ(fmt::format("{} {} {} {} {}", kept->nameLength, kept->hrefLength, kept->created,
                          kept->modified, kept->size),
              "0 0 -nan -nan 0");
}

// The scripts are for the second time. The outlines end in the member's HTTP status.
TEST(MemberInfo, that_fails_drops_the_record) {
    const auto infoAgain = [](MemberHost& host) {
        const Script script = std::exchange(host.script, Script{""});
        info(host, answer);
        host.begin("");
        host.script = script;
        const vx::Status rc = info(host, {element(U"multistatus")});
        EXPECT_EQ(host.member->fileInfo, nullptr);
        host.say("3 status {}", host.member->status);
        return rc;
    };
    expectOutcomes<MemberHost>("quillonFileInfo", infoAgain, R"(
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010, status -1
        HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010, status 200
        HEAD 401 => 81FFC808: OPTIONS 200, HEAD 401, InstHead unexpected status=401, status 401
        CreateDocument null => 81FFC811: OPTIONS 200, HEAD 200, CreateDocument null, journal 4 XML document for PROPFIND request could not be created., XML document creation failed, status 200
        PROPFIND rc=80000010 => 80000010: OPTIONS 200, HEAD 200, PROPFIND 80000010 null, InstPropFind failed rc=80000010, status 200
        PROPFIND 404 null => 81FFC811: OPTIONS 200, HEAD 200, PROPFIND 404 null, journal 4 No info returned for PROPFIND request., PROPFIND returned no info status=404, status 404
        PROPFIND 404 => 81FFC808: OPTIONS 200, HEAD 200, PROPFIND 404 response2, PROPFIND returned unexpected status=404, status 404
        => 81FFC813: OPTIONS 200, HEAD 200, PROPFIND 207 response2, unexpected XML response, status 207
    )");
}

TEST(MemberInfo, survives_each_lack_of_memory) {
    const auto infoOnce = [](MemberHost& host) { return info(host, answer); };
    expectOutcomes<MemberHost>("quillonFileInfo", infoOnce, R"(
        => 00000000: OPTIONS 200, HEAD 200, PROPFIND 207 response1
        memory 1 => 803FC002: OPTIONS 200, HEAD 200, no memory for info
        memory 2 => 803FC002: OPTIONS 200, HEAD 200, PROPFIND 207 response1, squillonFileInfoRetrieve no memory for narrow member name, FileInfoRetrieve failed rc=803FC002
    )");
}

}  // namespace
