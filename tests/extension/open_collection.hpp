// The collection that most tests open.
#pragma once

#include "tests/extension/fake_host.hpp"

namespace test {

inline constexpr std::string_view collectionUrl = "http://h/c/";
inline constexpr std::string_view userName = "ann";
inline constexpr std::string_view passwordText = "sesame!";

// "http://h/c/" of ann, with a cache directory wherever the toolbox has one.
inline vx::CollectionParms collectionParms(FakeHost& host) {
    vx::CollectionParms parms{};
    parms.url = collectionUrl.data();
    parms.urlLength = collectionUrl.size();
    parms.user = userName.data();
    parms.userLength = userName.size();
    parms.password = passwordText.data();
    parms.passwordLength = passwordText.size();
    parms.textTranscoder = &host.textTranscoder;
    parms.pathTranscoder = &host.pathTranscoder;
    parms.rc = 0xDBDBDBDB;
    return parms;
}

// Opens that collection and forgets what was written; gives it back, unseen, at the end.
class OpenCollection {
public:
    explicit OpenCollection(FakeHost& host, uint32_t options = 0) : host_(host) {
        vx::CollectionParms parms = collectionParms(host);
        parms.options = options;
        handle_ = host.extension->operations.quillonCollectionHandleAcquire(host.extension, &parms,
                                                                            &host.journal);
        EXPECT_EQ(parms.rc, vx::VX_SUCCESS) << host.transcript();
        host.lines.clear();
    }
    ~OpenCollection() {
        EXPECT_EQ(host_.extension->operations.quillonCollectionHandleRelease(handle_),
                  vx::VX_SUCCESS);
    }
    OpenCollection(const OpenCollection&) = delete;

    operator vx::CollectionHandle*() const { return handle_; }
    vx::CollectionHandle* operator->() const { return handle_; }

private:
    FakeHost& host_;
    vx::CollectionHandle* handle_;
};

}  // namespace test
