// Deleting and renaming members, which begin alike.
#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Of a member created at 5 GMT, unless the script says "undated"; "reference N" is the caller's
// local time, "?" a NaN. "named" leaves it to the operation to open the member. The last line is
// the HTTP status that the caller gets.
template <class Parms>
vx::Status change(vx::Status (*operation)(vx::CollectionHandle*, Parms*, vx::Journal*),
                  MemberHost& host, Parms parms) {
    parms.fileHandle = host.script.has("named") ? nullptr : host.member;
    parms.status = 99;
    const Answer reference = host.script.word("reference");
    parms.referenceTime = reference.has("?") ? __builtin_nan("") : reference.http.value_or(0);
    host.response = memberResponse(U"creationdate", host.script.has("undated") ? U"?" : U"5");
    host.zone = 3;  // a local time plus 3 is GMT
    const vx::Status rc = operation(host.collection, &parms, &host.journal);
    host.say("status {}", parms.status);
    return rc;
}

vx::Status remove(MemberHost& host) {
    return change(host.operations.quillonFileDelete, host, memberParms<vx::DeleteParms>(host));
}

// To "n.txt", or as "newName" in the script has it.
vx::Status rename(MemberHost& host) {
    auto parms = memberParms<vx::RenameParms>(host);
    const Answer newName = host.script.word("newName");
    parms.newName = newName.has("null") ? nullptr : "n.txt";
    parms.newNameLength = int64_t(newName.number("length", 5));
    return change(host.operations.quillonFileRename, host, parms);
}

TEST(MemberDelete, spares_what_is_gone_or_not_allowed_or_newer_or_of_unknown_age) {
    expectTranscripts<MemberHost>(
        "member_delete", {"reference 2"},
        {"", "named", "named, OPTIONS 500", "undated", "reference 1", "reference ?",
         "reference ?, undated", "reference 1, HEAD 404", "reference 1, OPTIONS allow=0xDFFFFFFF"},
        remove);
}

TEST(MemberRename, spares_it_too_and_tells_the_journal_once_of_each_failure) {
    expectTranscripts<MemberHost>(
        "member_rename", {"reference 2"},
        {"named", "named, OPTIONS 500", "undated", "reference 1", "reference 9, undated",
         "newName length=0", "newName null, named", "newName length=-1, named"},
        rename);
}

}  // namespace
