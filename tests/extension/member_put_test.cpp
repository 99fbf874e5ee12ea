#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// By a holder who "locked" the member at the date 7, or only "noted" that date. "allowed mask=MASK"
// is what the acquire found out about the member, "modified N" its date when it is asked for again.
// The last line says what
// the server got and which lock is held afterwards.
vx::Status put(MemberHost& host) {
    vx::FileHandle& member = *host.member;
    vx::Client* client = member.client;
    if (host.script.has("locked")) {
        member.lock = client->InstLock(client, &member.lockParms, &member.status, nullptr, 0);
        member.lockDate = 7;
    }
    if (host.script.has("noted")) member.lockDate = 7;
    const Answer modified = host.script.word("modified");
    const std::string date = std::to_string(modified.http.value_or(7));
    host.response = memberResponse(U"getlastmodified", modified.has("?") ? U"?" : wide(date));
    member.allow = uint32_t(host.script.word("allowed").number("mask", member.allow));
    std::string& content = host.files[U"/cache/1/WEBDAV1"];
    while (content.size() < 5000) content += char('a' + content.size() % 23);
    member.status = 99;
    static const vx::PutOptions options{};
    member.putOptions = &options;
    member.putOptionsLength = sizeof options;
    host.start();
    const vx::Status rc = host.operations.quillonFilePut(&member, nullptr, &host.journal);
    EXPECT_NE(member.status, 99);
    const bool whole = host.putBody == content;
    host.say("{} body, lock {}",
             whole                  ? "whole"
             : host.putBody.empty() ? "no"
                                    : "cut",
             member.lock ? named(member.lock).name : "none");
    return rc;
}

TEST(MemberPut, overwrites_nothing_that_others_stored) {
    expectTranscripts<MemberHost>(
        "member_put", {"", "locked", "locked, PUT 412"},
        {"locked, PUT 412, modified 6", "locked, PUT 412, modified 8",
         "locked, PUT 412, modified ?", "locked, PUT 412, modified 8, UNLOCK 500", "noted",
         "noted, modified 8", "noted, modified 8, HEAD 404", "noted, HEAD rc=80000010",
         "allowed mask=0x00080000", "allowed mask=0x00000100", "allowed mask=0xFFF7FEFF"},
        put);
}

}  // namespace
