#include "client/error.hpp"

#include <gtest/gtest.h>

#include "client/outcome.hpp"
#include "platform/status.hpp"

namespace quillon {
namespace {

struct Row {
    vx::Status status;
    int httpStatus;  // of the latest answer, 0: none
    Kind kind;
};

constexpr Row rows[] = {
    {vx::QUILLON_BAD_URL, 0, Kind::usage},
    {vx::QUILLON_NOT_AUTHORIZED, 401, Kind::notAuthorized},
    {vx::QUILLON_COLLECTION_NOT_FOUND, 404, Kind::notFound},
    {vx::QUILLON_FILE_NOT_FOUND, 404, Kind::notFound},
    {vx::QUILLON_LOCKED, 423, Kind::locked},
    {vx::QUILLON_UNEXPECTED_STATUS, 401, Kind::notAuthorized},
    {vx::QUILLON_UNEXPECTED_STATUS, 403, Kind::refused},
    {vx::QUILLON_UNEXPECTED_STATUS, 404, Kind::notFound},
    {vx::QUILLON_UNEXPECTED_STATUS, 412, Kind::changedOnServer},
    {vx::QUILLON_UNEXPECTED_STATUS, 423, Kind::locked},
    {vx::QUILLON_UNEXPECTED_STATUS, 500, Kind::network},
    {vx::QUILLON_UNEXPECTED_STATUS, 507, Kind::refused},
    {vx::QUILLON_UNEXPECTED_STATUS, 0, Kind::network},
    {vx::QUILLON_REQUEST_FAILED, 404, Kind::notFound},
    {vx::QUILLON_FILE_LOST, 207, Kind::changedOnServer},
    {vx::QUILLON_NEWER_FILE, 207, Kind::changedOnServer},
    {vx::QUILLON_PRECONDITION_FAILED, 412, Kind::refused},
    {vx::QUILLON_PUT_LOCK_FAILED, 423, Kind::locked},
    {vx::QUILLON_INSUFFICIENT_STORAGE, 507, Kind::refused},
    {vx::QUILLON_MKCOL_NOT_ALLOWED, 405, Kind::refused},
    {vx::QUILLON_BAD_RESPONSE, 207, Kind::network},
    {vx::VX_NO_MEMORY, 0, Kind::local},
    {vxhost::WEBLNK_NO_CONNECTION, 0, Kind::network},
    {vxhost::WEBLNK_TLS_REFUSED, 0, Kind::network},
    {vxhost::WEBLNK_CUT_OFF, 200, Kind::network},
    {vxhost::WEBLNK_INTERRUPTED, 0, Kind::interrupted},
    {vxhost::FSBOX_NO_SPACE, 200, Kind::local},
    {0xDEADBEEF, 0, Kind::local},
};

TEST(Error, kindsFollowFromStatusAndAnswer) {
    for (const Row& row : rows) {
        EXPECT_EQ(kindOf(static_cast<Code>(row.status), row.httpStatus), row.kind)
            << std::hex << row.status << std::dec << " " << row.httpStatus;
    }
}

// What the requests beneath said is the error, not the operation's summary.
TEST(Error, theCauseIsHeardFromTheRequests) {
    vxhost::UserJournal journal;
    begin(journal);
    hear({vx::VX_SUCCESS, 200});
    hear({vxhost::FSBOX_NO_SPACE, 200});
    const Error full = failure(vx::QUILLON_REQUEST_FAILED, journal);
    EXPECT_EQ(full.kind, Kind::local);
    EXPECT_EQ(full.sentences.back(), vxhost::statusText(vxhost::FSBOX_NO_SPACE));

    begin(journal);
    hear({vx::VX_SUCCESS, 403});
    const Error refused = failure(vx::QUILLON_UNEXPECTED_STATUS, journal);
    EXPECT_EQ(refused.kind, Kind::refused);
    EXPECT_EQ(refused.httpStatus, 403);
    EXPECT_EQ(refused.sentences.back(),
              "The server answered 403 (Forbidden). This account may lack the right to it.");

    begin(journal);
    const Error earlier = failure(vx::QUILLON_FILE_LOST, journal);
    EXPECT_EQ(earlier.httpStatus, 0) << "of an operation before";
}

TEST(Error, theJournalsFailuresComeFirstAndOnce) {
    vxhost::UserJournal journal;
    begin(journal);
    journal.write(vx::JOURNAL_NOTE, "a note");
    journal.write(vx::JOURNAL_FAILURE, "Ann holds the lock.");
    journal.write(vx::JOURNAL_FAILURE, vxhost::statusText(vx::QUILLON_LOCKED));
    journal.write(vx::JOURNAL_FAILURE, "Ann holds the lock.");
    const Error error = failure(vx::QUILLON_LOCKED, journal);
    EXPECT_EQ(error.sentences, (std::vector<std::string>{"Ann holds the lock.",
                                                         vxhost::statusText(vx::QUILLON_LOCKED)}));
}

}  // namespace
}  // namespace quillon
