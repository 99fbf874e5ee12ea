#include "platform/files/directories.hpp"

#include <gtest/gtest.h>

#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

TEST(directories, are_absolute_and_private_with_their_parents) {
    const support::TemporaryDirectory temporary;
    vxhost::makePrivateDirectories(temporary / "made/here");
    EXPECT_EQ(support::modeOf(temporary / "made"), 0700u);
    EXPECT_EQ(support::modeOf(temporary / "made/here"), 0700u);
    setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_TRUE(vxhost::cacheHome().is_absolute());
    unsetenv("XDG_CACHE_HOME");
}
