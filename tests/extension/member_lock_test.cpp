#include "tests/extension/operation.hpp"
#include "vxext/src/datetime.hpp"

namespace {

using namespace test;

vx::Status lock(MemberHost& host, uint64_t flags) {
    vx::LockRequest request{flags, {}};
    return host.operations.quillonFileLock(host.member, &request, &host.journal);
}

vx::Status release(MemberHost& host) {
    return host.operations.quillonFileLockRelease(host.member, &host.journal);
}

TEST(MemberLock, is_taken_and_given_back) {
    MemberHost host;
    host.response = memberResponse(U"getlastmodified", U"7");
    EXPECT_EQ(lock(host, 0), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileLock called"
        client2 OPTIONS -> 200
        client2 LOCK option 1 block 80000000 "ZEB DATADIR.  User = ann" journal -> 200 lock1
        journal 2 "LOCK method returned status = 200."
        2 "quillonFileInfo called"
        client2 OPTIONS -> 200
        client2 HEAD -> 200
        CreateDocument 304 bytes journal -> request1
        client2 PROPFIND depth 0 request1 -> 207 response1
        ParseDate "7"
        response1 Destroy
        request1 Destroy
        2 "quillonFileInfo returning rc=00000000"
        2 "quillonFileLock returning rc=00000000")"));
    EXPECT_EQ(lock(host, vx::LOCK_CREATE), vx::QUILLON_ALREADY_LOCKED);
    EXPECT_EQ(outline(host, "quillonFileLock"), "OPTIONS 200, journal 4 81FFC805");
    EXPECT_EQ(host.member->lockDate, 7);

    EXPECT_EQ(release(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileLockRelease called"
        lock1 UNLOCK -> 204
        journal 2 "UNLOCK method returned status = 204"
        lock1 Destroy)"));
    EXPECT_TRUE(vx::squillonDateMissing(host.member->lockDate));

    host.member->lockDate = 5;
    EXPECT_EQ(release(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "2 \"quillonFileLockRelease called\"\n");
    EXPECT_TRUE(vx::squillonDateMissing(host.member->lockDate));
}

TEST(MemberLock, that_the_server_keeps_is_gone_all_the_same) {
    const auto lockAndRelease = [](MemberHost& host) {
        lock(host, 0);
        host.lines.clear();
        const vx::Status rc = release(host);
        EXPECT_EQ(host.member->lock, nullptr);
        return rc;
    };
    expectOutcomes<MemberHost>("quillonFileLockRelease", lockAndRelease, R"(
        UNLOCK 409 => 81FFC808: lock1 UNLOCK -> 409, journal 2 UNLOCK method returned status = 409, UNLOCK returned status=409, lock1 Destroy
    )");
}

TEST(MemberLock, that_fails_tells_the_journal) {
    const auto create = [](MemberHost& host) {
        host.response = memberResponse(U"getlastmodified", U"7");
        const vx::Status rc = lock(host, vx::LOCK_CREATE);
        const bool noted = rc == vx::VX_SUCCESS || rc == vx::QUILLON_LOCK_NOT_SUPPORTED;
        EXPECT_EQ(vx::squillonDateMissing(host.member->lockDate), !noted);
        return rc;
    };
    expectOutcomes<MemberHost>("quillonFileLock", create, R"(
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010, journal 4 80000010
        OPTIONS 403 => 81FFC808: OPTIONS 403, OPTIONS returned status=403, journal 4 81FFC808
        OPTIONS allow=0xFBFFFFFF => 81FFC809: OPTIONS 200, OPTIONS 200, HEAD 200, PROPFIND 207 response1, journal 4 81FFC809
        HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010, journal 4 80000010
        HEAD 404, PUT rc=80000010 => 80000010: OPTIONS 200, HEAD 404, PUT 80000010, InstPut failed rc=80000010, journal 4 80000010
        HEAD 404, PUT 423 => 81FFC804: OPTIONS 200, HEAD 404, PUT 423, journal 4 81FFC804
        HEAD 404, PUT 412 => 81FFC808: OPTIONS 200, HEAD 404, PUT 412, PUT returned status=412, journal 4 81FFC808
        HEAD 404 => 00000000: OPTIONS 200, HEAD 404, PUT 201, LOCK 200 lock1, journal 2 LOCK method returned status = 200., OPTIONS 200, HEAD 200, PROPFIND 207 response1
        HEAD 500 => 00000000: OPTIONS 200, HEAD 500, LOCK 200 lock1, journal 2 LOCK method returned status = 200., OPTIONS 200, HEAD 200, PROPFIND 207 response1
        LOCK 423 => 81FFC804: OPTIONS 200, HEAD 200, LOCK 423 null, journal 2 LOCK method returned status = 423., LOCK returned status=423, journal 4 81FFC804
        LOCK 200 null => 81FFC80A: OPTIONS 200, HEAD 200, LOCK 200 null, journal 2 LOCK method returned status = 200., LOCK returned status=200, journal 4 81FFC80A
        LOCK 500 lock => 81FFC80A: OPTIONS 200, HEAD 200, LOCK 500 lock1, journal 2 LOCK method returned status = 500., LOCK returned status=500, journal 4 81FFC80A
    )");
}

TEST(MemberLock, notes_the_time_when_there_is_no_date) {
    for (const char* script : {"", "HEAD rc=80000010"}) {
        MemberHost host{script};
        host.response = {response(U"/c/m.txt")};
        host.now = 1234;
        EXPECT_EQ(lock(host, vx::LOCK_DATE_ONLY), vx::VX_SUCCESS);
        EXPECT_EQ(host.member->lockDate, 1234);
        EXPECT_EQ(host.transcript().find("LOCK"), std::string::npos);
    }
}

TEST(MemberLock, hands_the_request_to_the_client) {
    MemberHost host{"LOCK 500 *2"};
    vx::LockRequest request{vx::LOCK_OPTION_ZERO | vx::LOCK_WITH_BLOCK, {3, 60, "token", 5}};
    host.operations.quillonFileLock(host.member, &request, nullptr);
    vx::LockParms& parms = host.member->lockParms;
    EXPECT_EQ(parms.option, 0u);
    EXPECT_EQ(parms.block.flags * 100 + parms.block.timeoutSeconds, 360u);
    EXPECT_STREQ(parms.block.token, "token");
    const char32_t* owner = parms.owner;

    request.flags = 0;
    host.operations.quillonFileLock(host.member, &request, nullptr);
    EXPECT_EQ(parms.option, 1u);
    EXPECT_EQ(parms.block.flags, vx::LOCK_BLOCK_DEFAULTS | 3);
    EXPECT_EQ(parms.owner, owner);
    EXPECT_EQ(request.block.timeoutSeconds + request.block.tokenLength, 0u);
}

TEST(MemberLock, without_memory_for_the_owner_is_not_taken) {
    MemberHost host;
    host.pool.failAt = host.pool.asked + 1;
    EXPECT_EQ(lock(host, 0), vx::VX_NO_MEMORY);
    EXPECT_EQ(outline(host, "quillonFileLock"),
              "OPTIONS 200, no memory for lockparms, journal 4 803FC002");
}

}  // namespace
