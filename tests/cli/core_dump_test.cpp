#include "cli/core_dump.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>

namespace quillon::cli {
namespace {

TEST(CoreDump, isForbidden) {
    const int before = prctl(PR_GET_DUMPABLE);
    forbidCoreDumps();
    EXPECT_EQ(prctl(PR_GET_DUMPABLE), 0);
    prctl(PR_SET_DUMPABLE, before);
}

}  // namespace
}  // namespace quillon::cli
