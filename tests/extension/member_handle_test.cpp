#include <cmath>

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Opens and releases, with a line between them of what was opened, and one at the end of the
// collection's HTTP status. "name" in the script: none, or one of a length of its own.
vx::Status open(CollectionHost& host) {
    static const vx::PutOptions options{};
    auto parms = memberParms<vx::FileHandleParms>(host);
    const Answer name = host.script.next("name");
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
        EXPECT_TRUE(std::isnan(member->lockDate));
        host.say("3 {} {} {} {} url {} put {} {} flags {}", std::string_view(member->magic, 4),
                 member->genericName, member->cachePath, member->cachePathLength,
                 member->pathLength, member->putOptionsLength, member->putCode, member->flags);
        parms.rc = member->release(member);
    }
    host.say("3 status {}", host.collection->lastStatus);
    return parms.rc;
}

TEST(MemberHandle, is_made_step_by_step_and_unmade) {
    CollectionHost host{"HEAD 404, ReleaseName rc=80000001, Destroy rc=80000002"};
    EXPECT_EQ(open(host), 0x80000002u);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonFileHandleAcquire called"
        text "ä.txt" into 24
        CreateName "/cache/1" "WEBDAV"
        path "/cache/1/WEBDAV1" into 16
        CreateClient2 "http://h/c/ä.txt" "ann" "sesame!" option 5 for journal context1 journal -> client2
        client2 OPTIONS -> 200
        client2 HEAD -> 404
        2 "quillonFileHandleAcquire returning rc=00000000 filep=set"
        3 nevo generic /cache/1/WEBDAV1 16 url 16 put 16 3 flags 0
        2 "quillonFileHandleRelease called"
        ReleaseName "/cache/1/WEBDAV1" -> 80000001
        client2 Destroy -> 80000002
        3 status 404)"));
    EXPECT_EQ(host.operations.quillonFileHandleRelease(nullptr), vx::VX_SUCCESS);
}

TEST(MemberHandle, that_cannot_be_made_leaves_nothing) {
    expectOutcomes<CollectionHost>("quillonFileHandleAcquire", open, R"(
        uncached => 81FFC815: no local cache, status -1
        name null => 81FFC817: no member name, status -1
        name length=0xFFFFFFFFFFFFFFFF => 81FFC817: no member name, status -1
        name length=0 => 00000000: OPTIONS 200, HEAD 200, nevo generic /cache/1/WEBDAV1 16 url 11 put 16 3 flags 1, status 200
        text rc=80000010 => 80000010: text 80000010, collection name transcode failure rc=80000010, status -1
        CreateName rc=80000010 => 80000010: CreateName 80000010, CreateName for cache failed rc=80000010, status -1
        path small *4 => 803FE807: path 803FE807, path 803FE807, path 803FE807, path 803FE807, status -1
        path rc=80000010 => 80000010: path 80000010, transcoding failed for cache file path rc=80000010, status -1
        CreateClient2 null *3 => 81FFC811: CreateClient2 null, CreateClient2 null, CreateClient2 null, journal 4 HTTP client instance for member could not be created. 53, CreateClient2 failed, status -1
        OPTIONS rc=80000010 => 80000010: OPTIONS 80000010, InstOptions failed rc=80000010, status -1
        OPTIONS 405 => 81FFC808: OPTIONS 405, InstOptions unexpected status=405, status 405
        HEAD rc=80000010 => 80000010: OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010, status 200
        HEAD 401 => 81FFC802: OPTIONS 200, HEAD 401, collection not authorized, status 401
        memory 1 => 803FC002: no memory for file handle, status -1
        memory 2 => 803FC002: no memory for generic name, status -1
        memory 3 => 803FC002: no memory for filename, status -1
        memory 4 => 803FC002: no memory for transcoded cache file path, status -1
        HEAD 500 => 81FFC808: OPTIONS 200, HEAD 500, InstHead unexpected status=500, status 500
    )");
}

}  // namespace
