#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// "forbidden" and "missing" in the script say what the acquire found out about the member.
vx::Status get(MemberHost& host) {
    host.getBody = {"abc", "de"};
    if (host.script.has("forbidden")) host.member->allow = ~vx::ALLOW_GET;
    if (host.script.has("missing")) host.member->flags &= ~vx::FILE_EXISTS;
    vx::FileGetParms parms{0, 77};
    return host.operations.quillonFileGet(host.member, &parms, &host.journal);
}

TEST(MemberGet, streams_the_body_into_the_cache_file) {
    MemberHost host;
    EXPECT_EQ(get(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileGet called"
        fsboxOpen "/cache/1/WEBDAV1" mode 2 buffer 1024 journal -> file1
        file1 Write 3
        file1 Write 2
        client2 GET 77 -> 200
        file1 Close
        2 "quillonFileGet returning rc=00000000")"));
    EXPECT_EQ(host.files[U"/cache/1/WEBDAV1"], "abcde");
    EXPECT_EQ(host.member->status, 200);
}

TEST(MemberGet, that_fails_says_why) {
    expectOutcomes<MemberHost>("quillonFileGet", get, R"(
        missing, forbidden => 81FFC806: file not found, journal 4 81FFC806
        forbidden => 81FFC80B: GET method not allowed, journal 4 81FFC80B
        fsboxOpen rc=80000010 => 80000010: fsboxOpen null, fsboxOpen returned rc=80000010
        fsboxOpen null => 81FFC811: fsboxOpen null, fsboxOpen returned rc=81FFC811
        GET 404 rc=80000010 => 81FFC811: GET 404 80000010, InstGet returned rc=80000010 status=404, journal 4 GET method failed. Status = 404 30
        Write rc=80000020 => 81FFC811: GET 80000020, InstGet returned rc=80000020 status=-1, journal 4 GET method failed. Status = -1 30
    )");
}

}  // namespace
