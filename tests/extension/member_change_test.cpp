// Deleting and renaming members, which begin alike.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

template <class Parms>
vx::Status change(vx::Status (*vx::Operations::*operation)(vx::CollectionHandle*, Parms*,
                                                           vx::Journal*),
                  CollectionHost& host, vx::FileHandle* member, Parms parms) {
    parms.fileHandle = member;
    parms.status = 99;
    const Answer reference = host.script.next("reference");
    parms.referenceTime = reference.has("?") ? __builtin_nan("") : reference.http.value_or(0);
    const Answer created = host.script.next("created");
    host.response =
        memberResponse(U"creationdate",
                       created.has("?") ? U"none" : wide(std::to_string(created.http.value_or(5))));
    host.zone = 3;  // a local time plus 3 is GMT
    const vx::Status rc = (host.operations.*operation)(host.collection, &parms, &host.journal);
    host.say(fmt::format("3 \"status {}\"", parms.status));
    return rc;
}

vx::Status remove(CollectionHost& host, vx::FileHandle* member) {
    return change(&vx::Operations::quillonFileDelete, host, member,
                  memberParms<vx::DeleteParms>(host));
}

vx::Status rename(CollectionHost& host, vx::FileHandle* member) {
    auto parms = memberParms<vx::RenameParms>(host);
    parms.newName = "n.txt";
    parms.newNameLength = 5;
    return change(&vx::Operations::quillonFileRename, host, member, parms);
}

// "created N" and "reference N" in a script are the times that decide, in GMT and local time; "?"
// is none. The outlines end in the HTTP status that the caller gets.
TEST(MemberDelete, spares_what_is_gone_or_not_allowed_or_newer_or_of_unknown_age) {
    const auto run = [](MemberHost& host) { return remove(host, host.member); };
    expectOutcomes<MemberHost>(
        "quillonFileDelete", run,
        fmt::format(R"(
        => 00000000: {known}DELETE 204, returning rc=00000000, status 204
        created ? => 00000000: {known}DELETE 204, returning rc=00000000, status 204
        reference 2 => 00000000: {known}DELETE 204, returning rc=00000000, status 204
        reference ? => 00000000: {known}DELETE 204, returning rc=00000000, status 204
        reference 1 => 81FFC80D: {known}newer file cannot be deleted, journal 4 81FFC80D, returning rc=81FFC80D, status 207
        reference 9, created ? => 81FFC80C: {known}missing creation date, journal 4 81FFC80C, returning rc=81FFC80C, status 207
        reference 1, HEAD 404 => 81FFC806: OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806, returning rc=81FFC806, status 404
        reference 1, OPTIONS allow=0xDFFFFFFF => 81FFC80B: {known}DELETE method not allowed, journal 4 81FFC80B, returning rc=81FFC80B, status 207
        DELETE rc=80000010 => 80000010: {known}DELETE 80000010, DELETE method failed rc=80000010, returning rc=80000010, status 207
        DELETE 423 => 81FFC808: {known}DELETE 423, DELETE returned status=423, journal 4 81FFC808, returning rc=81FFC808, status 423
    )",
                    fmt::arg("known", "OPTIONS 200, HEAD 200, PROPFIND 207 response1, ")));
}

TEST(MemberRename, spares_it_too_and_tells_the_journal_once_of_each_failure) {
    const auto run = [](MemberHost& host) { return rename(host, host.member); };
    expectOutcomes<MemberHost>(
        "quillonFileRename", run,
        fmt::format(R"(
        => 00000000: {known}MOVE 201, status 201
        reference 2 => 00000000: {known}MOVE 201, status 201
        reference 1 => 81FFC80D: {known}cannot move newer file, journal 4 81FFC80D, status 207
        reference 9, created ? => 81FFC80C: {known}missing creation date, journal 4 81FFC80C, status 207
        HEAD 404 => 81FFC806: OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806, status 404
        OPTIONS allow=0xFEFFFFFF => 81FFC80B: {known}MOVE method not allowed, journal 4 81FFC80B, status 207
        text rc=80000010 => 80000010: {known}text 80000010, failure transcoding new member name rc=80000010, journal 4 80000010, status 207
        MOVE rc=80000010 => 80000010: {known}MOVE 80000010, InstMove returned rc=80000010, journal 4 80000010, status 207
        MOVE 409 => 81FFC808: {known}MOVE 409, MOVE method status=409, journal 4 81FFC808, status 409
        MOVE 412 => 81FFC80E: {known}MOVE 412, journal 4 81FFC80E, status 412
        MOVE 423 => 81FFC804: {known}MOVE 423, journal 4 81FFC804, status 423
    )",
                    fmt::arg("known", "OPTIONS 200, HEAD 200, PROPFIND 207 response1, ")));
}

TEST(MemberChange, opens_a_member_by_its_name) {
    const auto removeNamed = [](CollectionHost& host) { return remove(host, nullptr); };
    expectOutcomes<CollectionHost>("quillonFileDelete", removeNamed, R"(
        => 00000000: OPTIONS 200, HEAD 200, OPTIONS 200, HEAD 200, PROPFIND 207 response1, DELETE 204, returning rc=00000000, status 204
        OPTIONS 500 => 81FFC807: OPTIONS 500, quillonFileHandleAcquire InstOptions unexpected status=500, returning rc=81FFC807, status 99
    )");
    const auto renameNamed = [](CollectionHost& host) { return rename(host, nullptr); };
    expectOutcomes<CollectionHost>("quillonFileRename", renameNamed, R"(
        => 00000000: OPTIONS 200, HEAD 200, OPTIONS 200, HEAD 200, PROPFIND 207 response1, MOVE 201, status 201
        OPTIONS 500 => 81FFC807: OPTIONS 500, quillonFileHandleAcquire InstOptions unexpected status=500, journal 4 81FFC807, status 99
    )");
}

TEST(MemberRename, moves_within_the_collection_and_needs_a_name) {
    MemberHost host;
    EXPECT_EQ(rename(host, host.member), vx::VX_SUCCESS);
    host.lines.pop_back();
    const std::string all = host.transcript();
    EXPECT_TRUE(all.starts_with("2 \"quillonFileRename called\"\n"));
    EXPECT_EQ(all.substr(all.find("text")), lines(R"(text "n.txt" into 20
        client2 MOVE "http://h/c/n.txt" -> 201
        2 "quillonFileRename returning rc=00000000")"));

    auto parms = memberParms<vx::RenameParms>(host);
    parms.newName = "n.txt";
    parms.newNameLength = -1;
    EXPECT_EQ(host.operations.quillonFileRename(host.collection, &parms, nullptr),
              vx::QUILLON_NO_MEMBER_NAME);
    EXPECT_EQ(outline(host, "quillonFileRename"), "null member name");
}

TEST(MemberChange, survives_each_lack_of_memory) {
    for (auto* run : {remove, rename})
        everyAllocationFails<CollectionHost>([=](CollectionHost& host) {
            const vx::Status rc = run(host, nullptr);
            // A temporary handle that finds no memory is reported as no handle.
            return rc == vx::QUILLON_NO_FILE_HANDLE ? vx::VX_NO_MEMORY : rc;
        });
}

}  // namespace
