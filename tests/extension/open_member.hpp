// What tests of listings and members begin with: a host whose collection is open, or also a member
// of it. The script counts from there, and the transcript begins there.
#pragma once

#include "tests/extension/open_collection.hpp"

namespace test {

inline vx::FileHandleParms memberParms(FakeHost& host) {
    vx::FileHandleParms parms{};
    parms.memberName = "m.txt";
    parms.memberNameLength = 5;
    parms.nameTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    parms.rc = 0xDBDBDBDB;
    return parms;
}

struct CollectionHost : FakeHost {
    explicit CollectionHost(std::string_view text = "", uint32_t options = 0)
        : collection(*this, options) {
        begin(text);
    }

    const vx::Operations* operations = &extension->operations;
    OpenCollection collection;

protected:
    void begin(std::string_view text) {
        script = Script{text};
        lines.clear();
    }
};

struct MemberHost : CollectionHost {
    // opening: the script of the acquire. "HEAD 404" makes a member that does not exist.
    explicit MemberHost(std::string_view text = "", std::string_view opening = "")
        : CollectionHost(opening) {
        vx::FileHandleParms parms = memberParms(*this);
        member = operations->quillonFileHandleAcquire(collection, &parms, &journal);
        EXPECT_EQ(parms.rc, vx::VX_SUCCESS) << transcript();
        begin(text);
    }
    ~MemberHost() {
        if (member->lock) operations->quillonFileLockRelease(member, nullptr);
        operations->quillonFileHandleRelease(member);
    }

    vx::FileHandle* member;
};

// A transcript in short: the requests and what came of them ("PUT 412", "under lock1" before it),
// what became of locks, failures logged and sentences and statuses of the journal. The operation's
// own messages stand without its name. Forgets the transcript.
std::string outline(FakeHost& host, std::string_view operation);

struct Row {
    std::string_view script;
    vx::Status rc;
    std::string outline;
};

// Runs the operation once a row, on a member of its own.
void expectOutcomes(std::string_view operation, const std::vector<Row>& rows,
                    const std::function<vx::Status(MemberHost&)>& run);

}  // namespace test
