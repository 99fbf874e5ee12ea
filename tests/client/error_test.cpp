#include "client/error.hpp"

#include <gtest/gtest.h>

#include "client/outcome.hpp"
#include "platform/base/status.hpp"

namespace quillon {
namespace {

TEST(Error, kindsFollowFromStatusAndAnswer) {
    const struct {
        vx::Status status;
        int httpStatus;  // of the latest answer, 0: none
        Kind kind;
    } rows[] = {
        {vx::QUILLON_UNEXPECTED_STATUS, 0, Kind::network},
        {vx::QUILLON_PUT_LOCK_FAILED, 207, Kind::locked},
        {vx::QUILLON_UNEXPECTED_STATUS, 401, Kind::notAuthorized},
        {vx::QUILLON_UNEXPECTED_STATUS, 403, Kind::refused},
        {vx::QUILLON_UNEXPECTED_STATUS, 412, Kind::changedOnServer},
        {vx::QUILLON_UNEXPECTED_STATUS, 423, Kind::locked},
        {vx::QUILLON_UNEXPECTED_STATUS, 500, Kind::network},
        {vx::QUILLON_UNEXPECTED_STATUS, 507, Kind::refused},
        {vx::QUILLON_PRECONDITION_FAILED, 412, Kind::refused},  // the status says more
        {0xDEADBEEF, 404, Kind::local},
    };
    for (const auto& row : rows)
        EXPECT_EQ(kindOf(static_cast<Code>(row.status), row.httpStatus), row.kind)
            << std::hex << row.status << std::dec << " " << row.httpStatus;
}

// What the requests beneath said is the error, not the operation's summary, and each is said once.
TEST(Error, theCauseIsHeardFromTheRequests) {
    vxhost::UserJournal journal;
    begin(journal);
    hear({vx::VX_SUCCESS, 200});
    hear({vxhost::FSBOX_NO_SPACE, 200});
    journal.write(vx::JOURNAL_NOTE, "a note");
    const std::string who = "Ann holds the lock.";
    const std::string cause = vxhost::statusText(vxhost::FSBOX_NO_SPACE);
    const std::string summary = vxhost::statusText(vx::QUILLON_REQUEST_FAILED);
    for (const auto& sentence : {who, cause, who, summary, who + " Status = -1"})
        journal.write(vx::JOURNAL_FAILURE, sentence);
    const Error full = failure(vx::QUILLON_REQUEST_FAILED, journal);
    EXPECT_EQ(full.kind, Kind::local);
    EXPECT_EQ(full.sentences, (std::vector{who, cause}));
    EXPECT_EQ(failure(vx::QUILLON_FILE_LOST, journal).code, Code::fileLost) << "no summary";

    begin(journal);
    hear({vx::VX_SUCCESS, 403});
    const Error refused = failure(vx::QUILLON_UNEXPECTED_STATUS, journal);
    EXPECT_EQ(refused.httpStatus, 403);
    EXPECT_EQ(refused.sentences.back(),
              "The server answered 403 (Forbidden). This account may lack the right to it.");

    begin(journal);
    EXPECT_EQ(failure(vx::QUILLON_FILE_LOST, journal).httpStatus, 0) << "of an operation before";
}

}  // namespace
}  // namespace quillon
