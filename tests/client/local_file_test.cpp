#include "client/local_file.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/base/descriptor.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

class LocalFile : public testing::Test {
protected:
    LocalFile() { support::writeFile(source, "new"); }

    void movedTo(const fs::path& place) const {
        EXPECT_EQ(support::readFile(place), "new");
        EXPECT_EQ(fs::last_write_time(place), fs::file_time_type::clock::from_sys(date));
        EXPECT_FALSE(fs::exists(source));
    }

    support::TemporaryDirectory folder;
    const fs::path source = folder / "source", target = folder / "target";
    const Time date{std::chrono::milliseconds(1'000'000'000'500)};
};

TEST_F(LocalFile, aNewFileGetsTheUmasksModeAndAReplacedOneLeavesItsOwn) {
    const mode_t before = umask(027);
    fs::permissions(source, fs::perms(0600));
    ASSERT_TRUE(putInPlace(source, target, Naming::byPerson, date));
    umask(before);
    movedTo(target);
    EXPECT_EQ(support::modeOf(target), 0640u);

    support::writeFile(source, "newer");
    fs::permissions(target, fs::perms(06604));
    fs::create_symlink("target", folder / "link");
    ASSERT_TRUE(putInPlace(source, folder / "link", Naming::byOthers));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(support::readFile(target), "newer");
    EXPECT_EQ(support::modeOf(target), 0604u);
    fs::create_symlink("loop", folder / "loop");
    for (const Naming naming : {Naming::byPerson, Naming::byOthers}) {
        const Result<void> placed = putInPlace(target, folder / "loop", naming);
        ASSERT_FALSE(placed);
        EXPECT_NE(placed.error().sentences.at(0).find("cannot be followed"), std::string::npos);
        EXPECT_TRUE(fs::is_symlink(folder / "loop"));
    }
}

TEST_F(LocalFile, aLinkOfSomebodyElsesIsFollowedOnlyWhenThePersonNamedIt) {
    if (geteuid() != 0) GTEST_SKIP() << "no link of somebody else's can be made";
    support::writeFile(target, "precious");
    fs::create_symlink("target", folder / "theirs");
    ASSERT_EQ(lchown((folder / "theirs").c_str(), 12345, 12345), 0);
    fs::create_symlink("theirs", folder / "own");
    for (const char* link : {"theirs", "own"}) {
        EXPECT_EQ(putInPlace(source, folder / link, Naming::byOthers).error().kind, Kind::local);
        EXPECT_EQ(support::readFile(target), "precious");
    }
    ASSERT_TRUE(putInPlace(source, folder / "theirs", Naming::byPerson));
    EXPECT_EQ(support::readFile(target), "new");
}

TEST_F(LocalFile, anotherFileSystemGetsACopy) {
    const fs::path elsewhere = "/dev/shm" / folder.path().filename();
    std::error_code problem;
    fs::rename(source, elsewhere, problem);
    if (problem != std::errc::cross_device_link) GTEST_SKIP() << "one file system, or none there";
    ASSERT_TRUE(putInPlace(source, elsewhere, Naming::byPerson, date));
    movedTo(elsewhere);
    fs::remove(elsewhere);
}

TEST_F(LocalFile, aPipeIsWrittenIntoAndAMissingFolderIsNamed) {
    const Result<void> failed = putInPlace(source, folder / "no" / "target", Naming::byPerson);
    EXPECT_NE(failed.error().sentences.at(0).find("No such file"), std::string::npos);
    EXPECT_EQ(support::readFile(source), "new");

    ASSERT_EQ(mkfifo(target.c_str(), 0600), 0);
    const vxhost::Descriptor reader(target, O_RDONLY | O_NONBLOCK);
    EXPECT_NE(
        putInPlace(source, target, Naming::byOthers).error().sentences.at(0).find("no regular"),
        std::string::npos);
    ASSERT_TRUE(putInPlace(source, target, Naming::byPerson));
    char content[8] = {};
    EXPECT_EQ(read(reader.number(), content, sizeof content), 3);
    EXPECT_STREQ(content, "new");
}

}  // namespace
}  // namespace quillon
