// Deleting and renaming members, which begin alike.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Of a member created at 5 GMT, unless the script says "undated"; "reference N" is the caller's
// local time, "?" a NaN. "named" leaves it to the operation to open the member. The outline ends in
// the HTTP status that the caller gets.
template <class Parms>
vx::Status change(vx::Status (*operation)(vx::CollectionHandle*, Parms*, vx::Journal*),
                  MemberHost& host, Parms parms) {
    parms.fileHandle = host.script.has("named") ? nullptr : host.member;
    parms.status = 99;
    const Answer reference = host.script.next("reference");
    parms.referenceTime = reference.has("?") ? __builtin_nan("") : reference.http.value_or(0);
    host.response = memberResponse(U"creationdate", host.script.has("undated") ? U"?" : U"5");
    host.zone = 3;  // a local time plus 3 is GMT
    const vx::Status rc = operation(host.collection, &parms, &host.journal);
    host.say("3 status {}", parms.status);
    return rc;
}

vx::Status remove(MemberHost& host) {
    return change(host.operations.quillonFileDelete, host, memberParms<vx::DeleteParms>(host));
}

// To "n.txt", or as "newName" in the script has it.
vx::Status rename(MemberHost& host) {
    auto parms = memberParms<vx::RenameParms>(host);
    const Answer newName = host.script.next("newName");
    parms.newName = newName.has("null") ? nullptr : "n.txt";
    parms.newNameLength = int64_t(newName.number("length", 5));
    return change(host.operations.quillonFileRename, host, parms);
}

TEST(MemberDelete, spares_what_is_gone_or_not_allowed_or_newer_or_of_unknown_age) {
    expectOutcomes<MemberHost>("quillonFileDelete", remove, R"(
        known = OPTIONS 200, HEAD 200, PROPFIND 207 response1
        undated => 00000000: {known}, DELETE 204, returning rc=00000000, status 204
        reference 2 => 00000000: {known}, DELETE 204, returning rc=00000000, status 204
        reference ? => 00000000: {known}, DELETE 204, returning rc=00000000, status 204
        reference 1 => 81FFC80D: {known}, newer file cannot be deleted, journal 4 81FFC80D, returning rc=81FFC80D, status 207
        reference ?, undated => 81FFC80C: {known}, missing creation date, journal 4 81FFC80C, returning rc=81FFC80C, status 207
        reference 1, HEAD 404 => 81FFC806: OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806, returning rc=81FFC806, status 404
        reference 1, OPTIONS allow=0xDFFFFFFF => 81FFC80B: {known}, DELETE method not allowed, journal 4 81FFC80B, returning rc=81FFC80B, status 207
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, quillonFileInfo InstOptions failed rc=80000010, returning rc=80000010, status -1
        DELETE rc=80000010 => 80000010: {known}, DELETE 80000010, DELETE method failed rc=80000010, returning rc=80000010, status 207
        DELETE 423 => 81FFC808: {known}, DELETE 423, DELETE returned status=423, journal 4 81FFC808, returning rc=81FFC808, status 423
        named => 00000000: OPTIONS 200, HEAD 200, {known}, DELETE 204, returning rc=00000000, status 204
        named, OPTIONS 500 => 81FFC807: OPTIONS 500, quillonFileHandleAcquire InstOptions unexpected status=500, returning rc=81FFC807, status 99
    )");
}

TEST(MemberRename, spares_it_too_and_tells_the_journal_once_of_each_failure) {
    expectOutcomes<MemberHost>("quillonFileRename", rename, R"(
        known = OPTIONS 200, HEAD 200, PROPFIND 207 response1
        newName length=0 => 00000000: {known}, MOVE 201, status 201
        newName null, named => 81FFC817: null member name, journal 4 81FFC817, status 99
        newName length=-1, named => 81FFC817: null member name, journal 4 81FFC817, status 99
        reference 1 => 81FFC80D: {known}, cannot move newer file, journal 4 81FFC80D, status 207
        reference 9, undated => 81FFC80C: {known}, missing creation date, journal 4 81FFC80C, status 207
        HEAD 404 => 81FFC806: OPTIONS 200, HEAD 404, file not found, journal 4 81FFC806, status 404
        OPTIONS allow=0xFEFFFFFF => 81FFC80B: {known}, MOVE method not allowed, journal 4 81FFC80B, status 207
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, quillonFileInfo InstOptions failed rc=80000010, journal 4 80000010, status -1
        text rc=80000010 => 80000010: {known}, text 80000010, failure transcoding new member name rc=80000010, journal 4 80000010, status 207
        MOVE rc=80000010 => 80000010: {known}, MOVE 80000010, InstMove returned rc=80000010, journal 4 80000010, status 207
        MOVE 409 => 81FFC808: {known}, MOVE 409, MOVE method status=409, journal 4 81FFC808, status 409
        MOVE 412 => 81FFC80E: {known}, MOVE 412, journal 4 81FFC80E, status 412
        memory 1 => 803FC002: OPTIONS 200, HEAD 200, quillonFileInfo no memory for info, journal 4 803FC002, status 200
        memory 3 => 803FC002: {known}, no memory for new name, journal 4 803FC002, status 207
        named, OPTIONS 500 => 81FFC807: OPTIONS 500, quillonFileHandleAcquire InstOptions unexpected status=500, journal 4 81FFC807, status 99
    )");
}

TEST(MemberRename, moves_within_the_collection) {
    MemberHost host{"named, MOVE 423"};
    EXPECT_EQ(rename(host), vx::QUILLON_LOCKED);
    const std::string all = host.transcript();
    EXPECT_EQ(all.substr(all.find("text \"n")), lines(R"(text "n.txt" into 20
        client3 MOVE "http://h/c/n.txt" -> 423
        journal 4 81FFC804
        2 "quillonFileHandleRelease called"
        ReleaseName "/cache/1/WEBDAV2"
        client3 Destroy
        2 "quillonFileRename returning rc=81FFC804"
        3 status 423)"));
}

}  // namespace
