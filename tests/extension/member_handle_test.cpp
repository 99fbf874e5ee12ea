#include "tests/extension/operation.hpp"
#include "vxext/src/datetime.hpp"

namespace {

using namespace test;

vx::FileHandle* acquire(CollectionHost& host, vx::FileHandleParms parms, vx::Status& rc) {
    parms.genericName = "generic";
    parms.rc = 0xDBDBDBDB;
    vx::FileHandle* member =
        host.operations.quillonFileHandleAcquire(host.collection, &parms, &host.journal);
    rc = parms.rc;
    return member;
}

TEST(MemberHandle, is_made_step_by_step_and_unmade) {
    CollectionHost host{"HEAD 404, ReleaseName rc=80000001, Destroy rc=80000002"};
    const vx::PutOptions options{};
    auto parms = memberParms<vx::FileHandleParms>(host);
    parms.memberName = "\xC3\xA4.txt";
    parms.memberNameLength = 6;
    parms.clientOption = 5;
    parms.putOptions = &options;
    parms.putOptionsLength = 16;
    parms.putCode = 3;
    vx::Status rc;
    vx::FileHandle* member = acquire(host, parms, rc);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileHandleAcquire called"
        text "ä.txt" into 24
        CreateName "/cache/1" "WEBDAV" kind 1
        path "/cache/1/WEBDAV1" into 16
        CreateClient2 url "http://h/c/ä.txt" user "ann" password "sesame!" option 5 for journal context1 journal -> client2
        client2 OPTIONS -> 200
        client2 HEAD -> 404
        2 "quillonFileHandleAcquire returning rc=00000000 filep=set")"));
    EXPECT_EQ(fmt::format("{} {} {} {} {} {} {} {}", std::string_view(member->magic, 4),
                          member->genericName, member->cachePath, member->cachePathLength,
                          member->pathLength, member->putOptionsLength, member->putCode,
                          host.collection->lastStatus),
              "nevo generic /cache/1/WEBDAV1 16 16 16 3 404");
    EXPECT_EQ(member->putOptions, &options);
    EXPECT_TRUE(vx::squillonDateMissing(member->lockDate));
    EXPECT_EQ(member->flags, 0u);  // it does not exist
    EXPECT_EQ(member->release(member), 0x80000002u);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileHandleRelease called"
        ReleaseName "/cache/1/WEBDAV1"
        client2 Destroy)"));
}

// "name" in the script: none, or one of a length of its own. The outlines end in the collection's
// last HTTP status.
vx::Status open(CollectionHost& host) {
    auto parms = memberParms<vx::FileHandleParms>(host);
    const Answer name = host.script.next("name");
    if (name.null()) parms.memberName = nullptr;
    parms.memberNameLength = int64_t(name.number("length", 5));
    if (host.script.has("uncached")) host.collection->flags &= ~vx::CACHE_CREATED;
    vx::Status rc;
    vx::FileHandle* member = acquire(host, parms, rc);
    EXPECT_EQ(member == nullptr, rc != vx::VX_SUCCESS);
    host.operations.quillonFileHandleRelease(member);  // null, too
    host.say(fmt::format("3 \"status {}\"", host.collection->lastStatus));
    host.collection->flags |= vx::CACHE_CREATED;
    return rc;
}

TEST(MemberHandle, that_cannot_be_made_leaves_nothing) {
    expectOutcomes<CollectionHost>("quillonFileHandleAcquire", open, R"(
        uncached => 81FFC815: no local cache, status -1
        name null => 81FFC817: no member name, status -1
        name length=0xFFFFFFFFFFFFFFFF => 81FFC817: no member name, status -1
        name length=0 => 00000000: OPTIONS 200, HEAD 200, status 200
        text rc=80000010 => 80000010: text 80000010, collection name transcode failure rc=80000010, status -1
        CreateName rc=80000010 => 80000010: CreateName 80000010, CreateName for cache failed rc=80000010, status -1
        path small *4 => 803FE807: path 803FE807, path 803FE807, path 803FE807, path 803FE807, status -1
        path rc=80000010 => 80000010: path 80000010, transcoding failed for cache file path rc=80000010, status -1
        CreateClient2 null *3 => 81FFC811: CreateClient2 null, CreateClient2 null, CreateClient2 null, journal 4 HTTP client instance for member could not be created. 53, CreateClient2 failed, status -1
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010, status -1
        OPTIONS 405 => 81FFC808: OPTIONS 405, InstOptions unexpected status=405, status 405
        HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010, status 200
        HEAD 401 => 81FFC802: OPTIONS 200, HEAD 401, collection not authorized, status 401
        HEAD 500 => 81FFC808: OPTIONS 200, HEAD 500, InstHead unexpected status=500, status 500
    )");
}

TEST(MemberHandle, survives_each_lack_of_memory) {
    everyAllocationFails<CollectionHost>(
        open, noMemoryFor("quillonFileHandleAcquire", {"file handle", "generic name", "filename",
                                                       "transcoded cache file path"}));
}

}  // namespace
