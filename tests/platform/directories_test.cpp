#include "platform/files/directories.hpp"

#include <gtest/gtest.h>

#include "platform/base/status.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

TEST(directories, are_absolute_and_private_with_their_parents) {
    const support::TemporaryDirectory temporary;
    vxhost::makePrivateDirectories(temporary / "made/here");
    EXPECT_EQ(support::modeOf(temporary / "made"), 0700u);
    EXPECT_EQ(support::modeOf(temporary / "made/here"), 0700u);
    std::filesystem::create_directory_symlink(temporary / "made", temporary / "link");
    vxhost::makePrivateDirectories(temporary / "link");
    chmod((temporary / "made").c_str(), 0720);
    EXPECT_THROW(vxhost::makePrivateDirectories(temporary / "link"), vxhost::Failure);
    EXPECT_EQ(geteuid() == 0, [] {  // another's, unless everything is root's
        try {
            vxhost::checkOwnDirectory("/usr");
            return true;
        } catch (const vxhost::Failure&) {
            return false;
        }
    }());
    setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_TRUE(vxhost::cacheHome().is_absolute());
    unsetenv("XDG_CACHE_HOME");
}
