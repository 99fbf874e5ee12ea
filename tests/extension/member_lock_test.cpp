#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// "flags N" in the script is the request's, "held" says that it comes again; the member's date is 7
// unless it is "undated". The outline ends in the date noted.
vx::Status lock(MemberHost& host) {
    host.response = memberResponse(U"getlastmodified", host.script.has("undated") ? U"?" : U"7");
    vx::LockRequest request{uint64_t(host.script.next("flags").http.value_or(0)), {}};
    if (host.script.has("held")) host.operations.quillonFileLock(host.member, &request, nullptr);
    host.files[U"/cache/1/WEBDAV1"] = "not to be sent";
    host.member->status = 99;
    host.lines.clear();
    const vx::Status rc = host.operations.quillonFileLock(host.member, &request, &host.journal);
    EXPECT_NE(host.member->status, 99);
    EXPECT_EQ(host.putBody, "");
    host.say("3 date {}", host.member->lockDate);
    return rc;
}

TEST(MemberLock, that_fails_tells_the_journal) {
    expectOutcomes<MemberHost>("quillonFileLock", lock, R"(
        known = OPTIONS 200, HEAD 200, PROPFIND 207 response1
        note = journal 2 LOCK method returned status =
        => 00000000: OPTIONS 200, LOCK 200 lock1, {note} 200., {known}, date 7
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010, journal 4 80000010, date -nan
        OPTIONS 403 => 81FFC808: OPTIONS 403, OPTIONS returned status=403, journal 4 81FFC808, date -nan
        OPTIONS allow=0xFBFFFFFF => 81FFC809: OPTIONS 200, {known}, journal 4 81FFC809, date 7
        held, flags 4 => 81FFC805: OPTIONS 200, journal 4 81FFC805, date 7
        flags 4, HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010, journal 4 80000010, date -nan
        flags 4, HEAD 404, PUT rc=80000010 => 80000010: OPTIONS 200, HEAD 404, PUT 80000010, InstPut failed rc=80000010, journal 4 80000010, date -nan
        flags 4, HEAD 404, PUT 423 => 81FFC804: OPTIONS 200, HEAD 404, PUT 423, journal 4 81FFC804, date -nan
        flags 4, HEAD 404, PUT 412 => 81FFC808: OPTIONS 200, HEAD 404, PUT 412, PUT returned status=412, journal 4 81FFC808, date -nan
        flags 4, HEAD 404, LOCK 423 => 81FFC804: OPTIONS 200, HEAD 404, PUT 201, LOCK 423 null, {note} 423., LOCK returned status=423, journal 4 81FFC804, date -nan
        flags 4, HEAD 500, LOCK 200 null => 81FFC80A: OPTIONS 200, HEAD 500, LOCK 200 null, {note} 200., LOCK returned status=200, journal 4 81FFC80A, date -nan
        memory 1 => 803FC002: OPTIONS 200, no memory for lockparms, journal 4 803FC002, date -nan
        LOCK 423 lock => 81FFC804: OPTIONS 200, LOCK 423 lock1, {note} 423., LOCK returned status=423, journal 4 81FFC804, date -nan
        LOCK 199 lock => 00000000: OPTIONS 200, LOCK 199 lock1, {note} 199., {known}, date 7
        LOCK 300 lock => 81FFC80A: OPTIONS 200, LOCK 300 lock1, {note} 300., LOCK returned status=300, journal 4 81FFC80A, date -nan
        LOCK rc=80000010 => 81FFC80A: OPTIONS 200, LOCK 80000010 null, {note} 0., LOCK returned status=0, journal 4 81FFC80A, date -nan
        flags 2, undated => 00000000: {known}, date 1000
        flags 2, HEAD rc=80000010 => 00000000: OPTIONS 200, HEAD 80000010, quillonFileInfo InstHead failed rc=80000010, date 1000
    )");
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
        host.lines.clear();
        const vx::Status rc = host.operations.quillonFileLockRelease(host.member, &host.journal);
        EXPECT_EQ(host.lines.at(0), "2 \"quillonFileLockRelease called\"");
        EXPECT_EQ(host.member->lock, nullptr);
        host.say("3 date {}", host.member->lockDate);
        return rc;
    };
    expectOutcomes<MemberHost>("quillonFileLockRelease", release, R"(
        => 00000000: date -nan
        held, UNLOCK 204 rc=80000010 => 80000010: lock1 UNLOCK -> 204 80000010, journal 2 UNLOCK method returned status = 204, lock1 Destroy, date -nan
        held, UNLOCK 409 => 81FFC808: lock1 UNLOCK -> 409, journal 2 UNLOCK method returned status = 409, UNLOCK returned status=409, lock1 Destroy, date -nan
    )");
}

}  // namespace
