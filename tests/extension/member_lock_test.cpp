#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// "flags N" in the script is the request's, "first N" that of one before it; both have details of
// the lock, and the member's date is 7 unless it is "undated". The last line is the date noted, and
// which details the client was left with, and the request.
vx::Status lock(MemberHost& host) {
    host.response = memberResponse(U"getlastmodified", host.script.has("undated") ? U"?" : U"7");
    const Answer flags = host.script.word("flags"), first = host.script.word("first");
    const vx::LockBlock block{3, 60, "token", 5}, &kept = host.member->lockParms.block;
    vx::LockRequest earlier{uint64_t(first.http.value_or(0)), block};
    vx::LockRequest request{uint64_t(flags.http.value_or(0)), block};
    host.files[U"/cache/1/WEBDAV1"] = "not to be sent";
    host.start();
    if (first.http) host.operations.quillonFileLock(host.member, &earlier, nullptr);
    host.member->status = 99;
    const vx::Status rc = host.operations.quillonFileLock(host.member, &request, &host.journal);
    EXPECT_NE(host.member->status, 99);
    EXPECT_EQ(host.putBody, "");
    host.say("date {}, {} {}, {} {}", shownDate(host.member->lockDate), kept.timeoutSeconds,
             kept.tokenLength, request.block.timeoutSeconds, request.block.tokenLength);
    return rc;
}

TEST(MemberLock, is_taken_and_its_date_noted) {
    expectTranscripts<MemberHost>(
        "member_lock", {"flags 4, HEAD 404"},
        {"", "flags 4", "flags 4, HEAD 500", "first 4, flags 4", "flags 1", "first 9, LOCK 500 *2",
         "flags 2", "flags 2, undated", "flags 2, HEAD rc=80000010"},
        lock);
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
