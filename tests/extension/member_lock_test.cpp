#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// "flags N" in the script is the request's, "held" says that it comes again; the member's date is 7
// unless it is "undated". The last line is the date noted.
vx::Status lock(MemberHost& host) {
    host.response = memberResponse(U"getlastmodified", host.script.has("undated") ? U"?" : U"7");
    vx::LockRequest request{uint64_t(host.script.word("flags").http.value_or(0)), {}};
    if (host.script.has("held")) host.operations.quillonFileLock(host.member, &request, nullptr);
    host.files[U"/cache/1/WEBDAV1"] = "not to be sent";
    host.member->status = 99;
    host.start();
    const vx::Status rc = host.operations.quillonFileLock(host.member, &request, &host.journal);
    EXPECT_NE(host.member->status, 99);
    EXPECT_EQ(host.putBody, "");
    host.say("date {}", shownDate(host.member->lockDate));
    return rc;
}

TEST(MemberLock, is_taken_and_its_date_noted) {
    expectTranscripts<MemberHost>("member_lock", {"flags 4, HEAD 404"},
                                  {"", "flags 4", "flags 4, HEAD 500", "held, flags 4", "flags 2",
                                   "flags 2, undated", "flags 2, HEAD rc=80000010"},
                                  lock);
}

TEST(MemberLock, hands_the_request_to_the_client) {
    MemberHost host{"LOCK 500 *2"};
    vx::LockRequest request{vx::LOCK_OPTION_ZERO | vx::LOCK_WITH_BLOCK, {3, 60, "token", 5}};
    host.operations.quillonFileLock(host.member, &request, nullptr);
    EXPECT_STREQ(host.member->lockParms.block.token, "token");
    request.flags = 0;
    host.operations.quillonFileLock(host.member, &request, &host.journal);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileLock called"
        client2 OPTIONS -> 200
        client2 LOCK option 0 block 00000003 "ZEB DATADIR.  User = ann" -> 500 null
        3 "quillonFileLock LOCK returned status=500"
        2 "quillonFileLock returning rc=81FFC80A"
        2 "quillonFileLock called"
        client2 OPTIONS -> 200
        client2 LOCK option 1 block 80000003 "ZEB DATADIR.  User = ann" journal -> 500 null
        journal 2 "LOCK method returned status = 500."
        3 "quillonFileLock LOCK returned status=500"
        journal 4 81FFC80A
        2 "quillonFileLock returning rc=81FFC80A")"));
    EXPECT_EQ(request.block.timeoutSeconds + request.block.tokenLength, 0u);
}

TEST(MemberLock, is_given_back_whatever_the_server_says) {
    const auto release = [](MemberHost& host) {
        host.member->lockDate = 5;
        if (host.script.has("held")) lock(host);
        host.start();
        const vx::Status rc = host.operations.quillonFileLockRelease(host.member, &host.journal);
        EXPECT_EQ(host.member->lock, nullptr);
        host.say("date {}", shownDate(host.member->lockDate));
        return rc;
    };
    expectTranscripts<MemberHost>("member_lock_release", {"held"}, {""}, release);
}

}  // namespace
