#include "tests/extension/open_member.hpp"
#include "vxext/src/cache_file.hpp"

namespace {

using namespace test;

const char32_t cacheFile[] = U"/cache/1/WEBDAV1";

std::vector<Tree> modifiedAt(std::u32string date) {
    return {response(U"/c/m.txt", {element(U"getlastmodified", std::move(date))})};
}

// A member locked at the date 7, or one of which only the date was noted.
struct NotedMember : MemberHost {
    NotedMember(std::string_view text, uint64_t flags, std::u32string modified) {
        response = modifiedAt(U"7");
        files[cacheFile] = "abc";
        vx::LockRequest request{flags, {}};
        operations->quillonFileLock(member, &request, &journal);
        begin(text);
        response = modifiedAt(std::move(modified));
    }
};

vx::Status put(MemberHost& host) {
    return host.operations->quillonFilePut(host.member, nullptr, &host.journal);
}

TEST(MemberPut, streams_the_cache_file_and_keeps_the_lock) {
    NotedMember host{"", 0, U"9"};
    EXPECT_EQ(put(host), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(
        2 "quillonFilePut called"
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
    const std::string dropped = "under lock1, PUT 412, lock1 Destroy, ";
    const std::string checked = dropped +
                                "LOCK 200 lock2, journal 2 LOCK method returned status = 200, "
                                "OPTIONS 200, HEAD 200, PROPFIND 207 response2, ";
    const std::string unlocked =
        "lock2 UNLOCK -> 204, journal 2 UNLOCK method returned status = 204, lock2 Destroy";
    const std::string kept =
        "lock2 UNLOCK -> 500, journal 2 UNLOCK method returned status = 500, "
        "UNLOCK returned status=500";
    const struct {
        const char* script;
        const char32_t* modified;
        vx::Status rc;
        const char* lock;  // that the member holds afterwards
        std::string outline;
    } rows[] = {
        {"PUT 507", U"9", vx::QUILLON_INSUFFICIENT_STORAGE, "lock1", "under lock1, PUT 507"},
        {"PUT 423", U"9", vx::QUILLON_UNEXPECTED_STATUS, "lock1",
         "under lock1, PUT 423, journal 4 81FFC808, PUT returned status=423"},
        {"PUT rc=80000010 pulls=1", U"9", 0x80000010u, "lock1",
         "under lock1, PUT 80000010, InstPut failed rc=80000010"},
        {"PUT 412", U"7", vx::VX_SUCCESS, "", checked + "under lock2, PUT 201, " + unlocked},
        {"PUT 412", U"8", vx::QUILLON_FILE_LOST, "", checked + "file lost, " + unlocked},
        {"PUT 412", U"?", vx::QUILLON_FILE_LOST, "", checked + "file lost, " + unlocked},
        {"PUT 412, UNLOCK 500", U"8", vx::QUILLON_FILE_LOST, "lock2",
         checked + "file lost, " + kept},
        {"PUT 412, HEAD 404", U"8", vx::VX_SUCCESS, "",
         dropped +
             "LOCK 200 lock2, journal 2 LOCK method returned status = 200, OPTIONS 200, "
             "HEAD 404, under lock2, PUT 201, " +
             unlocked},
        {"PUT 412, PUT 412", U"7", vx::QUILLON_UNEXPECTED_STATUS, "",
         checked + "under lock2, PUT 412, journal 4 81FFC808, PUT returned status=412, " +
             unlocked},
        {"PUT 412, PUT 204, UNLOCK 500", U"7", vx::QUILLON_UNEXPECTED_STATUS, "lock2",
         checked + "under lock2, PUT 204, " + kept},
        {"PUT 412, HEAD rc=80000010", U"7", 0x80000010u, "",
         dropped +
             "LOCK 200 lock2, journal 2 LOCK method returned status = 200, OPTIONS 200, "
             "HEAD 80000010, quillonFileInfo InstHead failed rc=80000010, " +
             unlocked},
        {"PUT 412, LOCK 423", U"7", vx::QUILLON_PUT_LOCK_FAILED, "",
         dropped + "LOCK 423 null, journal 2 LOCK method returned status = 423, "
                   "LOCK method returned status=423, journal 4 81FFC810"},
        {"PUT 412, LOCK 500 lock", U"7", vx::QUILLON_PUT_LOCK_FAILED, "",
         dropped +
             "LOCK 500 lock2, journal 2 LOCK method returned status = 500, "
             "LOCK method returned status=500, journal 4 81FFC810, " +
             unlocked},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.script);
        NotedMember host{row.script, 0, row.modified};
        EXPECT_EQ(put(host), row.rc);
        EXPECT_EQ(outline(host, "quillonFilePut"), row.outline);
        const vx::LockObject* lock = host.member->lock;
        EXPECT_EQ(lock ? static_cast<const Fake<vx::LockObject>*>(lock)->name : "", row.lock);
        EXPECT_EQ(host.member->lockDate, 7);
    }
}

TEST(MemberPut, without_a_lock_compares_the_date) {
    const std::string found = "OPTIONS 200, HEAD 200, PROPFIND 207 response2, ";
    const struct {
        const char* script;
        const char32_t* modified;
        vx::Status rc;
        std::string outline;
    } rows[] = {
        {"", U"7", vx::VX_SUCCESS, found + "PUT 201"},
        {"", U"8", vx::QUILLON_FILE_LOST, found + "file lost"},
        {"HEAD 404", U"8", vx::VX_SUCCESS, "OPTIONS 200, HEAD 404, PUT 201"},
        {"PUT 423", U"7", vx::QUILLON_LOCKED, found + "PUT 423"},
        {"PUT 507", U"7", vx::QUILLON_INSUFFICIENT_STORAGE, found + "PUT 507"},
        {"PUT 412", U"7", vx::QUILLON_UNEXPECTED_STATUS,
         found + "PUT 412, PUT returned status=412, journal 4 81FFC808"},
    };
    for (const auto& row : rows) {
        NotedMember host{row.script, vx::LOCK_DATE_ONLY, row.modified};
        EXPECT_EQ(put(host), row.rc);
        EXPECT_EQ(outline(host, "quillonFilePut"), row.outline);
    }
}

TEST(MemberPut, needs_one_of_two_methods) {
    for (uint32_t allow : {vx::ALLOW_PUT, vx::ALLOW_PUT_NEW, ~vx::ALLOW_PUT_MASK}) {
        MemberHost host;
        host.member->allow = allow;
        const bool refused = allow == ~vx::ALLOW_PUT_MASK;
        EXPECT_EQ(put(host), refused ? vx::QUILLON_METHOD_NOT_ALLOWED : vx::VX_SUCCESS);
        EXPECT_EQ(outline(host, "quillonFilePut"),
                  refused ? "journal 4 81FFC80B, method not allowed" : "PUT 201");
    }
}

TEST(MemberPut, that_cannot_read_is_no_upload) {
    const std::vector<Row> rows = {
        {"fsboxOpen rc=80000010", 0x80000010u, "PUT 80000010, InstPut failed rc=80000010"},
        {"fsboxOpen null", vx::QUILLON_REQUEST_FAILED, "PUT 81FFC811, InstPut failed rc=81FFC811"},
        {"Read rc=80000010", 0x80000010u, "PUT 80000010, InstPut failed rc=80000010"},
    };
    expectOutcomes("quillonFilePut", rows, put);
}

TEST(MemberPut, moves_any_content_in_pieces) {
    for (size_t size : {0u, 1u, 4096u, 4097u, 10000u}) {
        MemberHost host;
        std::string content(size, 'x');
        for (size_t i = 0; i < size; ++i) content[i] = char('a' + i % 23);
        host.files[cacheFile] = content;
        EXPECT_EQ(put(host), vx::VX_SUCCESS);
        EXPECT_EQ(host.bodies.back(), content);

        vx::ReadCallback record{vx::bquillonReadCache, host.member, nullptr, nullptr, 99};
        const void* data;
        uint64_t length;
        while (record.callback(&record, &data, &length) == vx::VX_SUCCESS) EXPECT_LE(length, 4096u);
        EXPECT_EQ(record.total, size);
        EXPECT_EQ(record.file, nullptr);
    }
}

}  // namespace
