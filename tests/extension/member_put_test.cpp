#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// By a holder who "locked" the member at the date 7, or only "noted" that date. "allowed mask=MASK"
// is what the acquire found out about the member, "modified N" its date when it is asked for again.
// The outline ends in the lock that is held afterwards.
vx::Status put(MemberHost& host) {
    vx::FileHandle& member = *host.member;
    vx::Client* client = member.client;
    if (host.script.has("locked")) {
        member.lock = client->InstLock(client, &member.lockParms, &member.status, nullptr, 0);
        member.lockDate = 7;
    }
    if (host.script.has("noted")) member.lockDate = 7;
    const Answer modified = host.script.next("modified");
    const std::string date = std::to_string(modified.http.value_or(7));
    host.response = memberResponse(U"getlastmodified", modified.has("?") ? U"?" : wide(date));
    member.allow = uint32_t(host.script.next("allowed").number("mask", member.allow));
    std::string& content = host.files[U"/cache/1/WEBDAV1"];
    while (content.size() < 5000) content += char('a' + content.size() % 23);
    member.status = 99;
    host.lines.clear();
    const vx::Status rc = host.operations.quillonFilePut(&member, nullptr, &host.journal);
    EXPECT_NE(member.status, 99);
    if (member.lock) host.say("lock {}", named(member.lock).name);
    return rc;
}

TEST(MemberPut, streams_the_cache_file_under_the_lock) {
    MemberHost host{"locked"};
    const vx::PutOptions options{};
    host.member->putOptions = &options;
    host.member->putOptionsLength = sizeof options;
    EXPECT_EQ(put(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.putBody, host.files[U"/cache/1/WEBDAV1"]);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFilePut called"
        client2 PUT code 27 16 under lock1
        fsboxOpen "/cache/1/WEBDAV1" mode 1 buffer 4096 journal -> file1
        file1 Read 4096
        file1 Read 4096
        file1 Read 4096 -> 80BFE80A
        file1 Close
        client2 PUT 5000 bytes -> 201
        2 "quillonFilePut returning rc=00000000"
        lock lock1)"));
}

TEST(MemberPut, overwrites_nothing_that_others_stored) {
    expectOutcomes<MemberHost>("quillonFilePut", put, R"(
        again = under lock1, PUT 412, lock1 Destroy
        locked = {again}, LOCK 200 lock2, journal 2 LOCK method returned status = 200, OPTIONS 200, HEAD
        checked = {locked} 200, PROPFIND 207 response1
        unlocked = lock2 UNLOCK -> 204, journal 2 UNLOCK method returned status = 204, lock2 Destroy
        kept = lock2 UNLOCK -> 500, journal 2 UNLOCK method returned status = 500, UNLOCK returned status=500, lock lock2
        locked, PUT 507, modified 9 => 81FFC812: under lock1, PUT 507, lock lock1
        locked, PUT 423, modified 9 => 81FFC808: under lock1, PUT 423, journal 4 81FFC808, PUT returned status=423, lock lock1
        locked, PUT rc=80000010 pulls=0 => 80000010: under lock1, PUT 80000010, InstPut failed rc=80000010, lock lock1
        locked, PUT 412 => 00000000: {checked}, under lock2, PUT 201, {unlocked}
        locked, PUT 412, modified 8, UNLOCK 500 => 81FFC80F: {checked}, file lost, {kept}
        locked, PUT 412, modified ? => 81FFC80F: {checked}, file lost, {unlocked}
        locked, PUT 412, modified 8, HEAD 404 => 00000000: {locked} 404, under lock2, PUT 201, {unlocked}
        locked, PUT 412, PUT 412 => 81FFC808: {checked}, under lock2, PUT 412, journal 4 81FFC808, PUT returned status=412, {unlocked}
        locked, PUT 412, PUT 204, UNLOCK 500 => 81FFC808: {checked}, under lock2, PUT 204, {kept}
        locked, PUT 412, HEAD rc=80000010 => 80000010: {locked} 80000010, quillonFileInfo InstHead failed rc=80000010, {unlocked}
        locked, PUT 412, LOCK -, LOCK 200 null => 81FFC810: {again}, LOCK 200 null, journal 2 LOCK method returned status = 200, LOCK method returned status=200, journal 4 81FFC810
        locked, PUT 412, LOCK -, LOCK 500 lock => 81FFC810: {again}, LOCK 500 lock2, journal 2 LOCK method returned status = 500, LOCK method returned status=500, journal 4 81FFC810, {unlocked}
        noted => 00000000: OPTIONS 200, HEAD 200, PROPFIND 207 response1, PUT 201
        noted, modified 8 => 81FFC80F: OPTIONS 200, HEAD 200, PROPFIND 207 response1, file lost
        PUT 423 => 81FFC804: PUT 423
        PUT 507 => 81FFC812: PUT 507
        PUT 412 => 81FFC808: PUT 412, PUT returned status=412, journal 4 81FFC808
        allowed mask=0x00080000, PUT again => 00000000: PUT 201
        allowed mask=0x00000100, PUT pulls=1 => 00000000: PUT 201
        allowed mask=0xFFF7FEFF => 81FFC80B: journal 4 81FFC80B, method not allowed
        fsboxOpen rc=80000010 => 80000010: fsboxOpen null, PUT 80000010, InstPut failed rc=80000010
        fsboxOpen null => 81FFC811: fsboxOpen null, PUT 81FFC811, InstPut failed rc=81FFC811
        Read rc=80000010 => 80000010: PUT 80000010, InstPut failed rc=80000010
    )");
}

}  // namespace
