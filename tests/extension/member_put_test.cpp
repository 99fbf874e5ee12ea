#include "tests/extension/operation.hpp"
#include "vxext/src/cache_file.hpp"

namespace {

using namespace test;

const char32_t cacheFile[] = U"/cache/1/WEBDAV1";

// "allowed mask=MASK" in the script: what the acquire found out about the member.
vx::Status put(MemberHost& host) {
    host.member->allow = uint32_t(host.script.next("allowed").number("mask", host.member->allow));
    return host.operations.quillonFilePut(host.member, nullptr, &host.journal);
}

// A member locked at the date 7, or one of which only that date was noted. "modified N" in the
// script is its date since.
template <uint64_t flags>
struct NotedMember : MemberHost {
    explicit NotedMember(std::string_view text) {
        response = memberResponse(U"getlastmodified", U"7");
        files[cacheFile] = "abc";
        vx::LockRequest request{flags, {}};
        operations.quillonFileLock(member, &request, &journal);
        begin(text);
        const Answer modified = script.next("modified");
        const std::string date =
            modified.has("?") ? "?" : std::to_string(modified.http.value_or(7));
        response = memberResponse(U"getlastmodified", wide(date));
    }
};

// The outline ends in the lock that the member holds afterwards.
template <uint64_t flags>
vx::Status putNoted(NotedMember<flags>& host) {
    const vx::Status rc = put(host);
    EXPECT_EQ(host.member->lockDate, 7);
    if (host.member->lock) host.say("lock " + named(host.member->lock).name);
    return rc;
}

TEST(MemberPut, streams_the_cache_file_and_keeps_the_lock) {
    NotedMember<0> host{"modified 9"};
    EXPECT_EQ(put(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFilePut called"
        client2 PUT code 27 under lock1
        fsboxOpen "/cache/1/WEBDAV1" mode 1 buffer 4096 journal -> file1
        file1 Read 4096
        file1 Read 4096 -> 80BFE80A
        file1 Close
        client2 PUT 3 bytes -> 201
        2 "quillonFilePut returning rc=00000000")"));
    EXPECT_NE(host.member->lock, nullptr);
}

TEST(MemberPut, takes_a_new_lock_when_the_server_dropped_the_old_one) {
    const std::string locked =
        "under lock1, PUT 412, lock1 Destroy, LOCK 200 lock2, "
        "journal 2 LOCK method returned status = 200, OPTIONS 200, HEAD ";
    expectOutcomes<NotedMember<0>>(
        "quillonFilePut", putNoted<0>,
        fmt::format(R"(
        PUT 507, modified 9 => 81FFC812: under lock1, PUT 507, lock lock1
        PUT 423, modified 9 => 81FFC808: under lock1, PUT 423, journal 4 81FFC808, PUT returned status=423, lock lock1
        PUT rc=80000010 pulls=1 => 80000010: under lock1, PUT 80000010, InstPut failed rc=80000010, lock lock1
        PUT 412 => 00000000: {checked}under lock2, PUT 201, {unlocked}
        PUT 412, modified 8 => 81FFC80F: {checked}file lost, {unlocked}
        PUT 412, modified ? => 81FFC80F: {checked}file lost, {unlocked}
        PUT 412, modified 8, UNLOCK 500 => 81FFC80F: {checked}file lost, {kept}
        PUT 412, modified 8, HEAD 404 => 00000000: {locked}404, under lock2, PUT 201, {unlocked}
        PUT 412, PUT 412 => 81FFC808: {checked}under lock2, PUT 412, journal 4 81FFC808, PUT returned status=412, {unlocked}
        PUT 412, PUT 204, UNLOCK 500 => 81FFC808: {checked}under lock2, PUT 204, {kept}
        PUT 412, HEAD rc=80000010 => 80000010: {locked}80000010, quillonFileInfo InstHead failed rc=80000010, {unlocked}
        PUT 412, LOCK 423 => 81FFC810: under lock1, PUT 412, lock1 Destroy, LOCK 423 null, journal 2 LOCK method returned status = 423, LOCK method returned status=423, journal 4 81FFC810
        PUT 412, LOCK 500 lock => 81FFC810: under lock1, PUT 412, lock1 Destroy, LOCK 500 lock2, journal 2 LOCK method returned status = 500, LOCK method returned status=500, journal 4 81FFC810, {unlocked}
    )",
                    fmt::arg("locked", locked),
                    fmt::arg("checked", locked + "200, PROPFIND 207 response2, "),
                    fmt::arg("unlocked",
                             "lock2 UNLOCK -> 204, journal 2 UNLOCK method returned status = 204, "
                             "lock2 Destroy"),
                    fmt::arg("kept",
                             "lock2 UNLOCK -> 500, journal 2 UNLOCK method returned status = 500, "
                             "UNLOCK returned status=500, lock lock2")));
}

TEST(MemberPut, without_a_lock_compares_the_date) {
    expectOutcomes<NotedMember<vx::LOCK_DATE_ONLY>>("quillonFilePut", putNoted<vx::LOCK_DATE_ONLY>,
                                                    R"(
        => 00000000: OPTIONS 200, HEAD 200, PROPFIND 207 response2, PUT 201
        modified 8 => 81FFC80F: OPTIONS 200, HEAD 200, PROPFIND 207 response2, file lost
        modified 8, HEAD 404 => 00000000: OPTIONS 200, HEAD 404, PUT 201
        PUT 423 => 81FFC804: OPTIONS 200, HEAD 200, PROPFIND 207 response2, PUT 423
        PUT 507 => 81FFC812: OPTIONS 200, HEAD 200, PROPFIND 207 response2, PUT 507
        PUT 412 => 81FFC808: OPTIONS 200, HEAD 200, PROPFIND 207 response2, PUT 412, PUT returned status=412, journal 4 81FFC808
    )");
}

TEST(MemberPut, that_cannot_read_or_may_not_write_is_no_upload) {
    expectOutcomes<MemberHost>("quillonFilePut", put, R"(
        allowed mask=0x00080000 => 00000000: PUT 201
        allowed mask=0x00000100 => 00000000: PUT 201
        allowed mask=0xFFF7FEFF => 81FFC80B: journal 4 81FFC80B, method not allowed
        fsboxOpen rc=80000010 => 80000010: fsboxOpen null, PUT 80000010, InstPut failed rc=80000010
        fsboxOpen null => 81FFC811: fsboxOpen null, PUT 81FFC811, InstPut failed rc=81FFC811
        Read rc=80000010 => 80000010: PUT 80000010, InstPut failed rc=80000010
    )");
}

TEST(MemberPut, moves_any_content_in_pieces) {
    for (size_t size : {0u, 1u, 4096u, 4097u, 10000u}) {
        MemberHost host;
        std::string& content = host.files[cacheFile];
        for (size_t i = 0; i < size; ++i) content += char('a' + i % 23);
        EXPECT_EQ(put(host), vx::VX_SUCCESS);
        EXPECT_EQ(host.putBody, content);

        vx::ReadCallback record{vx::bquillonReadCache, host.member, nullptr, nullptr, 99};
        const void* data;
        uint64_t length;
        while (record.callback(&record, &data, &length) == vx::VX_SUCCESS) EXPECT_LE(length, 4096u);
        EXPECT_EQ(record.total, size);
        EXPECT_EQ(record.file, nullptr);
    }
}

}  // namespace
