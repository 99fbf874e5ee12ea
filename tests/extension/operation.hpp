// What tests of operations begin with: a host, one whose collection is open, or also a member of
// it. The script counts from there, and the transcript begins there.
#pragma once

#include "tests/extension/sweep.hpp"

namespace test {

// "http://h/c/" of ann by the proxy p, for any record that names a collection. The script may say
// otherwise: "url null", "url length=N", the same of all three "credentials".
template <class Parms>
Parms collectionParms(FakeHost& host) {
    const Answer url = host.script.word("url");
    Parms parms{};
    parms.url = url.has("null") ? nullptr : "http://h/c/";
    parms.urlLength = int64_t(url.number("length", 11));
    const Answer credentials = host.script.word("credentials");
    const bool none = credentials.has("null");
    parms.proxy = none ? nullptr : "http://p";
    parms.proxyLength = int64_t(credentials.number("length", 8));
    parms.user = none ? nullptr : "ann";
    parms.userLength = int64_t(credentials.number("length", 3));
    parms.password = none ? nullptr : "sesame!";
    parms.passwordLength = int64_t(credentials.number("length", 7));
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

// A date for a line of the transcript; the bits of one that is missing.
inline std::string shownDate(double date) {
    return date == date ? fmt::format("{}", date)
                        : fmt::format("{:016X}", std::bit_cast<uint64_t>(date));
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
        start();
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

}  // namespace test
