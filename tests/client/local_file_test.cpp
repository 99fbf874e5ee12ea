#include "client/local_file.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

namespace quillon {
namespace {

namespace fs = std::filesystem;

class LocalFile : public testing::Test {
protected:
    LocalFile() {
        std::string name = (fs::temp_directory_path() / "quillon-test-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~LocalFile() override { fs::remove_all(folder); }

    fs::path file(const char* name, const char* content) {
        std::ofstream(folder / name) << content;
        return folder / name;
    }
    static std::string content(const fs::path& path) {
        std::ifstream stream(path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static mode_t mode(const fs::path& path) {
        struct stat found {};
        stat(path.c_str(), &found);
        return found.st_mode & 07777;
    }

    fs::path folder;
};

TEST_F(LocalFile, aNewFileGetsTheUmasksModeAndTheServersDate) {
    const mode_t before = umask(027);
    const fs::path source = file("source", "new");
    fs::permissions(source, fs::perms::owner_read | fs::perms::owner_write);
    const Time date{std::chrono::milliseconds(1'000'000'000'500)};
    ASSERT_TRUE(putInPlace(source, folder / "target", date));
    umask(before);
    EXPECT_EQ(content(folder / "target"), "new");
    EXPECT_EQ(mode(folder / "target"), 0640);
    EXPECT_FALSE(fs::exists(source));
    struct stat found {};
    ASSERT_EQ(stat((folder / "target").c_str(), &found), 0);
    EXPECT_EQ(found.st_mtim.tv_sec, 1'000'000'000);
    EXPECT_EQ(found.st_mtim.tv_nsec, 500'000'000);
}

TEST_F(LocalFile, aReplacedFileLeavesItsModeAndALinkStays) {
    const fs::path target = file("target", "old");
    chmod(target.c_str(), 0604);
    fs::create_symlink("target", folder / "link");
    ASSERT_TRUE(putInPlace(file("source", "new"), folder / "link", {}));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(content(target), "new");
    EXPECT_EQ(mode(target), 0604);
}

TEST_F(LocalFile, anotherFileSystemGetsACopy) {
    const fs::path elsewhere = "/dev/shm";
    struct stat here {
    }, there{};
    if (stat(folder.c_str(), &here) != 0 || stat(elsewhere.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev) {
        GTEST_SKIP() << "one file system";
    }
    const fs::path target = elsewhere / folder.filename();
    ASSERT_TRUE(putInPlace(file("source", "new"), target, {}));
    EXPECT_EQ(content(target), "new");
    EXPECT_FALSE(fs::exists(folder / "source"));
    fs::remove(target);
}

TEST_F(LocalFile, aDeviceIsWrittenIntoAndAMissingFolderIsNamed) {
    ASSERT_TRUE(putInPlace(file("source", "x"), "/dev/null", {}));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));

    const Result<void> failed = putInPlace(file("source", "x"), folder / "no" / "target", {});
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().kind, Kind::local);
    EXPECT_NE(failed.error().sentences.at(0).find("No such file"), std::string::npos);
    EXPECT_EQ(content(folder / "source"), "x");
}

}  // namespace
}  // namespace quillon
