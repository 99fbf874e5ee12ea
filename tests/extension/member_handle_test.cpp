#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Opens and releases, with a line between them of what was opened, and one at the end of the
// collection's HTTP status. "name" in the script: none, or one of a length of its own.
vx::Status openMember(CollectionHost& host) {
    static const vx::PutOptions options{};
    auto parms = memberParms<vx::FileHandleParms>(host);
    const Answer name = host.script.word("name");
    parms.memberName = name.has("null") ? nullptr : "\xC3\xA4.txt";
    parms.memberNameLength = int64_t(name.number("length", 6));
    parms.genericName = "generic";
    parms.clientOption = 5;
    parms.putOptions = &options;
    parms.putOptionsLength = 16;
    parms.putCode = 3;
    parms.rc = 0xDBDBDBDB;
    if (host.script.has("uncached")) host.collection->flags &= ~vx::CACHE_CREATED;
    vx::FileHandle* member =
        host.operations.quillonFileHandleAcquire(host.collection, &parms, &host.journal);
    host.collection->flags |= vx::CACHE_CREATED;
    EXPECT_EQ(member == nullptr, parms.rc != vx::VX_SUCCESS);
    if (member) {
        EXPECT_EQ(member->putOptions, &options);
        host.say("{} {} {} {} url {} put {} {} flags {} lock date {}",
                 std::string_view(member->magic, 4), member->genericName, member->cachePath,
                 member->cachePathLength, member->pathLength, member->putOptionsLength,
                 member->putCode, member->flags, shownDate(member->lockDate));
        parms.rc = member->release(member);
    }
    host.say("status {}", host.collection->lastStatus);
    return parms.rc;
}

TEST(MemberHandle, is_made_step_by_step_and_unmade) {
    expectTranscripts<CollectionHost>("member_handle", {""},
                                      {"uncached", "name null", "name length=-1", "name length=0"},
                                      openMember);
    CollectionHost host;
    EXPECT_EQ(host.operations.quillonFileHandleRelease(nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

}  // namespace
