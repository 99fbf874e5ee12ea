#include "tests/extension/operation.hpp"

namespace {

using namespace test;

const std::vector<Tree> answer = {element(
    U"multistatus",
    {response(U"/c/m.txt", {element(U"creationdate", U"5"), element(U"getlastmodified", U"7"),
                            element(U"getcontentlength", U"9")}),
     response(U"/c/other")})};

// Of a member that was there or, "missing", was not; "again": for the second time. "rootless" and
// "unlisted" name answers of their own. The last line is what the handle then knows.
vx::Status info(MemberHost& host) {
    const auto ask = [&] {
        return host.operations.quillonFileInfo(host.member, &host.pathTranscoder, &host.journal);
    };
    host.response = answer;
    if (host.script.has("missing")) host.member->flags &= ~vx::FILE_EXISTS;
    const bool again = host.script.has("again");
    if (again) ask();
    if (host.script.has("rootless")) host.response = {};
    if (host.script.has("unlisted")) host.response = {element(U"multistatus")};
    const vx::FileInfo* kept = host.member->fileInfo;
    if (again) host.start();
    const vx::Status rc = ask();
    const vx::FileInfo* known = host.member->fileInfo;
    host.say("allow {:08X} flags {} status {}", host.member->allow, host.member->flags,
             host.member->status);
    if (!known) return rc;
    EXPECT_TRUE(!again || known == kept);
    EXPECT_TRUE(!known->name && !known->href);
    host.say("{} name {} href {} created {} modified {} size {}",
             known->narrowName ? known->narrowName : "-", known->nameLength, known->hrefLength,
             shownDate(known->created), shownDate(known->modified), known->size);
    return rc;
}

TEST(MemberInfo, keeps_what_does_not_point_into_the_document_and_nothing_after_a_failure) {
    expectTranscripts<MemberHost>(
        "member_info", {"again"},
        {"missing", "rootless", "again, rootless", "again, unlisted", "again, HEAD -, HEAD 404"},
        info);
}

}  // namespace
