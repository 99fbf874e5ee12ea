#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// "forbidden" and "missing" in the script say what the acquire found out about the member;
// "plain": there are no options. The last line is what the cache file holds.
vx::Status get(MemberHost& host) {
    host.getBody = {"abc", "de"};
    if (host.script.has("forbidden")) host.member->allow = ~vx::ALLOW_GET;
    if (host.script.has("missing")) host.member->flags &= ~vx::FILE_EXISTS;
    vx::FileGetParms parms{0, 77};
    vx::FileGetParms* given = host.script.has("plain") ? nullptr : &parms;
    const vx::Status rc = host.operations.quillonFileGet(host.member, given, &host.journal);
    host.say("<{}> status {}", host.files[U"/cache/1/WEBDAV1"], host.member->status);
    return rc;
}

TEST(MemberGet, streams_the_body_into_the_cache_file) {
    expectTranscripts<MemberHost>("member_get", {""}, {"plain", "forbidden", "missing, forbidden"},
                                  get);
}

}  // namespace
