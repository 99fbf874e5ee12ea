#include "tests/extension/open_member.hpp"

namespace {

using namespace test;

TEST(MemberGet, streams_the_body_into_the_cache_file) {
    MemberHost host;
    host.getBody = {"abc", "de"};
    vx::FileGetParms parms{0, 77};
    EXPECT_EQ(host.operations->quillonFileGet(host.member, &parms, &host.journal), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(
        2 "quillonFileGet called"
        fsboxOpen "/cache/1/WEBDAV1" mode 2 buffer 1024 journal -> file1
        client2 GET options 77
        file1 Write 3
        file1 Write 2
        client2 GET -> 200
        file1 Close
        2 "quillonFileGet returning rc=00000000")"));
    EXPECT_EQ(host.files[U"/cache/1/WEBDAV1"], "abcde");
    EXPECT_EQ(host.member->status, 200);
}

vx::Status get(MemberHost& host) {
    host.getBody = {"x"};
    return host.operations->quillonFileGet(host.member, nullptr, &host.journal);
}

TEST(MemberGet, that_fails_says_why) {
    const std::vector<Row> rows = {
        {"fsboxOpen rc=80000010", 0x80000010u, "fsboxOpen returned rc=80000010"},
        {"fsboxOpen null", vx::QUILLON_REQUEST_FAILED, "fsboxOpen returned rc=81FFC811"},
        {"GET 404 rc=80000010", vx::QUILLON_REQUEST_FAILED,
         "GET 404 80000010, InstGet returned rc=80000010 status=404, "
         "journal 4 GET method failed. Status = 404 30"},
        {"Write rc=80000020", vx::QUILLON_REQUEST_FAILED,
         "GET 80000020, InstGet returned rc=80000020 status=-1, "
         "journal 4 GET method failed. Status = -1 30"},
    };
    expectOutcomes("quillonFileGet", rows, get);
}

TEST(MemberGet, of_what_cannot_be_had_sends_nothing) {
    for (const char* head : {"", "HEAD 404"}) {
        MemberHost host{"", head};
        host.member->allow = ~vx::ALLOW_GET;
        const bool missing = *head;
        EXPECT_EQ(get(host), missing ? vx::QUILLON_FILE_NOT_FOUND : vx::QUILLON_METHOD_NOT_ALLOWED);
        EXPECT_EQ(outline(host, "quillonFileGet"),
                  missing ? "file not found, journal 4 81FFC806"
                          : "GET method not allowed, journal 4 81FFC80B");
    }
}

}  // namespace
