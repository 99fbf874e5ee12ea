#include <fmt/format.h>

#include "tests/extension/open_member.hpp"
#include "vxext/src/datetime.hpp"

namespace {

using namespace test;

vx::FileHandle* acquire(FakeHost& host, vx::CollectionHandle* collection,
                        vx::FileHandleParms& parms) {
    return host.extension->operations.quillonFileHandleAcquire(collection, &parms, &host.journal);
}

TEST(MemberHandle, is_made_step_by_step_and_unmade) {
    CollectionHost host{"HEAD 404"};
    const vx::PutOptions options{};
    vx::FileHandleParms parms = memberParms(host);
    parms.memberName = "\xC3\xA4.txt";
    parms.memberNameLength = 6;
    parms.genericName = "generic";
    parms.clientOption = 5;
    parms.putOptions = &options;
    parms.putOptionsLength = 16;
    parms.putCode = 3;
    vx::FileHandle* member = acquire(host, host.collection, parms);
    EXPECT_EQ(host.transcript(), lines(R"(
        2 "quillonFileHandleAcquire called"
        text "ä.txt" into 24
        CreateName "/cache/1" "WEBDAV" kind 1
        path "/cache/1/WEBDAV1" into 16
        CreateClient2 url "http://h/c/ä.txt" user "ann" password "sesame!" option 5 for journal context1 journal -> client2
        client2 OPTIONS -> 200
        client2 HEAD -> 404
        2 "quillonFileHandleAcquire returning rc=00000000 filep=set")"));
    EXPECT_EQ(parms.rc, vx::VX_SUCCESS);
    EXPECT_EQ(host.collection->lastStatus, 404);
    EXPECT_EQ(std::string(member->magic, 4) + member->genericName, "nevogeneric");
    EXPECT_STREQ(member->cachePath, "/cache/1/WEBDAV1");
    EXPECT_EQ(member->cachePathLength * 100 + member->pathLength, 1616u);
    EXPECT_EQ(member->flags & vx::FILE_EXISTS, 0u);
    EXPECT_TRUE(vx::squillonDateMissing(member->lockDate));
    EXPECT_EQ(member->putOptions, &options);
    EXPECT_EQ(member->putOptionsLength * 100 + member->putCode, 1603u);
    host.script = Script{"ReleaseName rc=80000001, Destroy rc=80000002"};
    EXPECT_EQ(member->release(member), 0x80000002u);
    EXPECT_EQ(host.transcript(), lines(R"(
        2 "quillonFileHandleRelease called"
        ReleaseName "/cache/1/WEBDAV1"
        client2 Destroy)"));
    EXPECT_EQ(host.operations->quillonFileHandleRelease(nullptr), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "");
}

TEST(MemberHandle, that_cannot_be_made_leaves_nothing) {
    const struct {
        const char* script;
        vx::Status rc;
        const char* outline;
    } rows[] = {
        {"text rc=80000010", 0x80000010u, "collection name transcode failure rc=80000010"},
        {"CreateName rc=80000010", 0x80000010u, "CreateName for cache failed rc=80000010"},
        {"path small *4", vx::VX_BUFFER_TOO_SMALL, ""},
        {"path rc=80000010", 0x80000010u, "transcoding failed for cache file path rc=80000010"},
        {"CreateClient2 null *3", vx::QUILLON_REQUEST_FAILED,
         "journal 4 HTTP client instance for member could not be created. 53, "
         "CreateClient2 failed"},
        {"OPTIONS rc=80000010", 0x80000010u, "OPTIONS 80000010, InstOptions failed rc=80000010"},
        {"OPTIONS 405", vx::QUILLON_UNEXPECTED_STATUS,
         "OPTIONS 405, InstOptions unexpected status=405"},
        {"HEAD rc=80000010", 0x80000010u,
         "OPTIONS 200, HEAD 80000010, InstHead failed rc=80000010"},
        {"HEAD 401", vx::QUILLON_NOT_AUTHORIZED,
         "OPTIONS 200, HEAD 401, collection not authorized"},
        {"HEAD 500", vx::QUILLON_UNEXPECTED_STATUS,
         "OPTIONS 200, HEAD 500, InstHead unexpected status=500"},
    };
    for (const auto& row : rows) {
        CollectionHost host{row.script};
        vx::FileHandleParms parms = memberParms(host);
        EXPECT_EQ(acquire(host, host.collection, parms), nullptr);
        EXPECT_EQ(parms.rc, row.rc);
        EXPECT_EQ(
            host.lines.back(),
            fmt::format("2 \"quillonFileHandleAcquire returning rc={:08X} filep=null\"", row.rc));
        EXPECT_EQ(outline(host, "quillonFileHandleAcquire"), row.outline);
    }
}

TEST(MemberHandle, needs_a_cache_and_a_name) {
    const struct {
        uint32_t options;
        const char* name;
        int64_t length;
        vx::Status rc;
        const char* outline;
    } rows[] = {
        {vx::NO_CACHE, "m", 1, vx::QUILLON_NO_LOCAL_CACHE, "no local cache"},
        {0, nullptr, 1, vx::QUILLON_NO_MEMBER_NAME, "no member name"},
        {0, "m", -1, vx::QUILLON_NO_MEMBER_NAME, "no member name"},
        {0, "", 0, vx::VX_SUCCESS, "OPTIONS 200, HEAD 200"},
    };
    for (const auto& row : rows) {
        CollectionHost host{"", row.options};
        vx::FileHandleParms parms = memberParms(host);
        parms.memberName = row.name;
        parms.memberNameLength = row.length;
        host.operations->quillonFileHandleRelease(acquire(host, host.collection, parms));
        EXPECT_EQ(parms.rc, row.rc);
        EXPECT_EQ(outline(host, "quillonFileHandleAcquire"), row.outline);
    }
}

TEST(MemberHandle, survives_each_lack_of_memory) {
    everyAllocationFails([](FakeHost& host) {
        OpenCollection collection{host};
        vx::FileHandleParms parms = memberParms(host);
        parms.genericName = "generic";
        host.startFailing();
        vx::FileHandle* member = acquire(host, collection, parms);
        host.quitFailing();
        host.extension->operations.quillonFileHandleRelease(member);
        return parms.rc;
    });
}

}  // namespace
