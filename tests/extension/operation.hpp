// What tests of operations begin with: a host, one whose collection is open, or also a member of
// it. The script counts from there, and the transcript begins there.
#pragma once

#include <functional>

#include "tests/extension/fake_host.hpp"

namespace test {

// "http://h/c/" of ann, for any record that names a collection. The script may say otherwise: "url
// null", "url length=N".
template <class Parms>
Parms collectionParms(FakeHost& host) {
    const Answer url = host.script.next("url");
    Parms parms{};
    parms.url = url.has("null") ? nullptr : "http://h/c/";
    parms.urlLength = int64_t(url.number("length", 11));
    parms.user = "ann";
    parms.userLength = 3;
    parms.password = "sesame!";
    parms.passwordLength = 7;
    parms.textTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    return parms;
}

// "m.txt", for any record that names a member.
template <class Parms>
Parms memberParms(FakeHost& host) {
    Parms parms{};
    parms.memberName = "m.txt";
    parms.memberNameLength = 5;
    parms.nameTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    return parms;
}

// A member's answer to a PROPFIND.
inline std::vector<Tree> memberResponse(std::u32string property, std::u32string value) {
    return {response(U"/c/m.txt", {element(property, value)})};
}

struct CollectionHost : FakeHost {
    explicit CollectionHost(std::string_view text = "", uint32_t options = 0) {
        auto parms = collectionParms<vx::CollectionParms>(*this);
        parms.options = options;
        collection = operations.quillonCollectionHandleAcquire(extension, &parms, &journal);
        begin(text);
    }
    ~CollectionHost() {
        EXPECT_EQ(operations.quillonCollectionHandleRelease(collection), vx::VX_SUCCESS);
    }
    void begin(std::string_view text) {
        script = Script{text};
        lines.clear();
    }

    const vx::Operations& operations = extension->operations;
    vx::CollectionHandle* collection;
};

struct MemberHost : CollectionHost {
    explicit MemberHost(std::string_view text = "") {
        auto parms = memberParms<vx::FileHandleParms>(*this);
        member = operations.quillonFileHandleAcquire(collection, &parms, &journal);
        begin(text);
    }
    ~MemberHost() {
        if (member->lock) operations.quillonFileLockRelease(member, nullptr);
        operations.quillonFileHandleRelease(member);
    }

    vx::FileHandle* member;
};

// The status, and the transcript in short: the requests and what came of them ("PUT 412", "under
// lock1" before it), other calls that failed, what became of locks, failures logged, and sentences
// and statuses of the journal. The operation's own messages stand without its name. The status is
// to be the one that the operation traces, if it does. Forgets the transcript.
std::string outcome(FakeHost& host, const std::string& operation, vx::Status status);

// The lines of a literal, "SCRIPT => OUTCOME". A line "NAME = TEXT" is no row: from there on {NAME}
// stands for the text.
std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& literal);

// Runs the operation once a row, "SCRIPT => STATUS: OUTLINE", on a host of its own; "memory N" in
// the script: the N-th allocation of the operation fails. What succeeds is run again with its
// first, its second ... allocation failing, until there is none left to fail: whatever comes of it,
// nothing must be left. run releases what it got.
template <class Host>
void expectOutcomes(const std::string& operation, const std::function<vx::Status(Host&)>& run,
                    const std::string& rows) {
    const auto runFailing = [&](Host& host, int nth) {
        const int last = host.pool.failAt = host.pool.asked + nth;
        const vx::Status status = run(host);
        host.pool.failAt = 0;
        return std::pair(status, host.pool.asked >= last);
    };
    for (const auto& [script, expected] : rowsOf(rows)) {
        SCOPED_TRACE(script);
        {
            Host host{script};
            const int nth = host.script.next("memory").http.value_or(0);
            const vx::Status status = nth ? runFailing(host, nth).first : run(host);
            EXPECT_EQ(outcome(host, operation, status), expected);
        }
        bool failed = expected.starts_with("00000000");
        for (int nth = 1; failed; ++nth) {
            SCOPED_TRACE(fmt::format("allocation {} fails", nth));
            Host host{script};
            failed = runFailing(host, nth).second;
            host.script = Script{""};
        }
    }
}

}  // namespace test
