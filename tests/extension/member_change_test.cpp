// Deleting and renaming members, which begin alike.
#include <fmt/format.h>

#include "tests/extension/open_member.hpp"

namespace {

using namespace test;

const std::vector<Tree> createdAt5 = {response(U"/c/m.txt", {element(U"creationdate", U"5")})};

template <class Parms>
Parms parmsFor(FakeHost& host, vx::FileHandle* member) {
    Parms parms{};
    parms.fileHandle = member;
    parms.memberName = "m.txt";
    parms.memberNameLength = 5;
    parms.nameTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    parms.status = 99;
    return parms;
}

vx::DeleteParms deleteParms(FakeHost& host, vx::FileHandle* member) {
    return parmsFor<vx::DeleteParms>(host, member);
}

vx::RenameParms renameParms(FakeHost& host, vx::FileHandle* member) {
    auto parms = parmsFor<vx::RenameParms>(host, member);
    parms.newName = "n.txt";
    parms.newNameLength = 5;
    return parms;
}

const std::string known = "OPTIONS 200, HEAD 200, PROPFIND 207 response1, ";

TEST(MemberDelete, refuses_what_it_must) {
    const double nan = __builtin_nan("");
    const struct {
        const char* script;
        double reference;
        const char32_t* created;
        vx::Status rc;
        int32_t status;
        std::string outline;
    } rows[] = {
        {"", 0, U"none", vx::VX_SUCCESS, 204, known + "DELETE 204"},
        {"", 2, U"5", vx::VX_SUCCESS, 204, known + "DELETE 204"},
        {"", nan, U"5", vx::VX_SUCCESS, 204, known + "DELETE 204"},
        {"", 1, U"5", vx::QUILLON_NEWER_FILE, 207,
         known + "newer file cannot be deleted, journal 4 81FFC80D"},
        {"", 9, U"none", vx::QUILLON_NO_CREATION_DATE, 207,
         known + "missing creation date, journal 4 81FFC80C"},
        {"HEAD 404", 1, U"5", vx::QUILLON_FILE_NOT_FOUND, 404,
         "OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806"},
        {"OPTIONS allow=0xDFFFFFFF", 1, U"5", vx::QUILLON_METHOD_NOT_ALLOWED, 207,
         known + "DELETE method not allowed, journal 4 81FFC80B"},
        {"DELETE rc=80000010", 0, U"5", 0x80000010u, 207,
         known + "DELETE 80000010, DELETE method failed rc=80000010"},
        {"DELETE 423", 0, U"5", vx::QUILLON_UNEXPECTED_STATUS, 423,
         known + "DELETE 423, DELETE returned status=423, journal 4 81FFC808"},
    };
    for (const auto& row : rows) {
        MemberHost host{row.script};
        host.response = {response(U"/c/m.txt", {element(U"creationdate", row.created)})};
        host.zone = 3;  // a local time plus 3 is GMT
        vx::DeleteParms parms = deleteParms(host, host.member);
        parms.referenceTime = row.reference;
        EXPECT_EQ(host.operations->quillonFileDelete(host.collection, &parms, &host.journal),
                  row.rc);
        EXPECT_EQ(parms.status, row.status);
        EXPECT_EQ(host.lines.front(), "2 \"quillonFileDelete called\"");
        EXPECT_EQ(outline(host, "quillonFileDelete"),
                  fmt::format("{}, returning rc={:08X}", row.outline, row.rc));
    }
}

TEST(MemberDelete, opens_a_member_by_its_name) {
    const struct {
        const char* script;
        vx::Status rc;
        int32_t status;
        const char* outline;
    } rows[] = {
        {"", vx::VX_SUCCESS, 204,
         "OPTIONS 200, HEAD 200, OPTIONS 200, HEAD 200, PROPFIND 207 response1, DELETE 204, "
         "returning rc=00000000"},
        {"OPTIONS 500", vx::QUILLON_NO_FILE_HANDLE, 99,
         "OPTIONS 500, quillonFileHandleAcquire InstOptions unexpected status=500, "
         "returning rc=81FFC807"},
    };
    for (const auto& row : rows) {
        CollectionHost host{row.script};
        host.response = createdAt5;
        vx::DeleteParms parms = deleteParms(host, nullptr);
        EXPECT_EQ(host.operations->quillonFileDelete(host.collection, &parms, &host.journal),
                  row.rc);
        EXPECT_EQ(parms.status, row.status);
        EXPECT_EQ(outline(host, "quillonFileDelete"), row.outline);
    }
}

TEST(MemberRename, moves_within_the_collection) {
    MemberHost host;
    host.response = createdAt5;
    vx::RenameParms parms = renameParms(host, host.member);
    EXPECT_EQ(host.operations->quillonFileRename(host.collection, &parms, &host.journal),
              vx::VX_SUCCESS);
    const std::string all = host.transcript();
    const std::string end = lines(R"(
        2 "quillonFileInfo returning rc=00000000"
        text "n.txt" into 20
        client2 MOVE "http://h/c/n.txt" -> 201
        2 "quillonFileRename returning rc=00000000")");
    EXPECT_TRUE(all.ends_with(end)) << all;
}

TEST(MemberRename, tells_the_journal_once_of_each_failure) {
    const std::vector<Row> rows = {
        {"MOVE 412", vx::QUILLON_PRECONDITION_FAILED, known + "MOVE 412, journal 4 81FFC80E"},
        {"MOVE 423", vx::QUILLON_LOCKED, known + "MOVE 423, journal 4 81FFC804"},
        {"MOVE 409", vx::QUILLON_UNEXPECTED_STATUS,
         known + "MOVE 409, MOVE method status=409, journal 4 81FFC808"},
        {"MOVE rc=80000010", 0x80000010u,
         known + "MOVE 80000010, InstMove returned rc=80000010, journal 4 80000010"},
        {"text rc=80000010", 0x80000010u,
         known + "failure transcoding new member name rc=80000010, journal 4 80000010"},
        {"", vx::VX_SUCCESS, known + "MOVE 201"},
        {"OPTIONS allow=0xFEFFFFFF", vx::QUILLON_METHOD_NOT_ALLOWED,
         known + "MOVE method not allowed, journal 4 81FFC80B"},
        {"HEAD 404", vx::QUILLON_FILE_NOT_FOUND,
         "OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806"},
    };
    expectOutcomes("quillonFileRename", rows, [](MemberHost& host) {
        host.response = createdAt5;
        vx::RenameParms parms = renameParms(host, host.member);
        parms.referenceTime = 5;
        const auto rc = host.operations->quillonFileRename(host.collection, &parms, &host.journal);
        EXPECT_EQ(parms.status, host.member->status);
        return rc;
    });
}

TEST(MemberRename, refuses_before_it_opens_anything) {
    CollectionHost host;
    vx::RenameParms parms = renameParms(host, nullptr);
    parms.newNameLength = -1;
    EXPECT_EQ(host.operations->quillonFileRename(host.collection, &parms, nullptr),
              vx::QUILLON_NO_MEMBER_NAME);
    EXPECT_EQ(outline(host, "quillonFileRename"), "null member name");
}

TEST(MemberRename, refuses_a_member_that_is_newer_or_of_unknown_age) {
    for (const char32_t* created : {U"5", U"none"}) {
        MemberHost host;
        host.response = {response(U"/c/m.txt", {element(U"creationdate", created)})};
        vx::RenameParms parms = renameParms(host, host.member);
        parms.referenceTime = 4;
        const bool newer = *created == U'5';
        EXPECT_EQ(host.operations->quillonFileRename(host.collection, &parms, nullptr),
                  newer ? vx::QUILLON_NEWER_FILE : vx::QUILLON_NO_CREATION_DATE);
        EXPECT_EQ(outline(host, "quillonFileRename"),
                  known + (newer ? "cannot move newer file" : "missing creation date"));
    }
}

// A temporary handle that finds no memory is reported as no handle.
vx::Status memory(vx::Status rc) {
    return rc == vx::QUILLON_NO_FILE_HANDLE ? vx::VX_NO_MEMORY : rc;
}

TEST(MemberChange, survives_each_lack_of_memory) {
    everyAllocationFails([](FakeHost& host) {
        host.response = createdAt5;
        OpenCollection collection{host};
        vx::DeleteParms parms = deleteParms(host, nullptr);
        host.startFailing();
        const auto rc =
            host.extension->operations.quillonFileDelete(collection, &parms, &host.journal);
        host.quitFailing();
        return memory(rc);
    });
    everyAllocationFails([](FakeHost& host) {
        host.response = createdAt5;
        OpenCollection collection{host};
        vx::RenameParms parms = renameParms(host, nullptr);
        host.startFailing();
        const auto rc =
            host.extension->operations.quillonFileRename(collection, &parms, &host.journal);
        host.quitFailing();
        return memory(rc);
    });
}

}  // namespace
