// Members on a real server, as far as the program's own tests do not reach.
#include <gtest/gtest.h>

#include "client/collection.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon {
namespace {

class Cycle : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(std::filesystem::is_empty(home.path())); }

    // A view of its own on the collection, as another person has it.
    Collection open() {
        ExtensionOptions options;
        options.library = QUILLON_LIBRARY_PATH;
        options.cacheRoot = home.path();
        return *Collection::open(*Extension::load(options), *Address::parse(server.url()), {});
    }
    // A person's member, with what the person would store.
    Member member(std::string_view segment, std::string_view content = "") {
        Member opened = *open().member(segment);
        support::writeFile(opened.file(), content);
        return opened;
    }
    std::string onServer(const char* name) {
        return support::readFile(server.documentRoot() / name);
    }

    support::Apache server;
    support::TemporaryDirectory home;
};

TEST_F(Cycle, aLockIsGivenBackUnlessItIsAbandoned) {
    server.addMember("file", "x");
    std::string token;
    {
        Member mine = member("file");
        EXPECT_EQ(*mine.lock(), Protection::lock);
        token = mine.lockToken();
        mine.abandonLock();
    }
    EXPECT_EQ(member("file").lock().error().kind, Kind::locked);
    EXPECT_TRUE(member("file").adoptLock(token));
    EXPECT_TRUE(member("file").lock());
}

TEST_F(Cycle, whatOthersMadeOrChangedIsNotOverwritten) {
    Member mine = member("file", "mine");
    EXPECT_FALSE(mine.exists());
    EXPECT_TRUE(member("file", "theirs").store({.onlyNew = true}));
    EXPECT_EQ(mine.store({.onlyNew = true}).error().kind, Kind::changedOnServer);

    // Apache's entity tag is weak, and so of no use, as long as a file is not a second old.
    const auto setAge = [&](std::chrono::minutes age) {
        std::filesystem::last_write_time(server.documentRoot() / "file",
                                         std::filesystem::file_time_type::clock::now() - age);
    };
    setAge(std::chrono::minutes(2));
    mine = member("file");
    ASSERT_TRUE(mine.fetch());
    support::writeFile(mine.file(), "mine");
    Member dated = member("file", "mine");
    ASSERT_TRUE(dated.noteDate());
    setAge(std::chrono::minutes(1));
    EXPECT_EQ(dated.store().error().code, Code::fileLost);
    EXPECT_EQ(mine.store({.ifUnchanged = true}).error().kind, Kind::changedOnServer);
    EXPECT_EQ(onServer("file"), "theirs");
}

TEST_F(Cycle, aMemberIsRenamedOrRemovedOnlyWhenItMayBe) {
    server.addMember("file", "x");
    server.addMember("taken", "y");
    Member mine = member("file");
    EXPECT_EQ(mine.rename("taken").error().code, Code::preconditionFailed);
    EXPECT_EQ(mine.rename("..").error().kind, Kind::usage);
    const Time created = *mine.info()->created;
    const auto second = std::chrono::seconds(1);
    EXPECT_EQ(mine.rename("other", created - second).error().code, Code::newerFile);
    EXPECT_EQ(mine.remove(created - second).error().code, Code::newerFile);
    EXPECT_EQ(mine.remove(Time{}).error().code, Code::newerFile);
    EXPECT_TRUE(mine.rename("50%20 \xC3\xBC?"));
    EXPECT_EQ(onServer("50%20 \xC3\xBC?"), "x");
    EXPECT_TRUE(member("taken").remove(*member("taken").info()->created));
    EXPECT_EQ(member("taken").remove().error().kind, Kind::notFound);
}

TEST_F(Cycle, aListingOutlivesTheObjectsItCameFrom) {
    server.addMember("a%b", "123");
    server.addCollection("sub");
    const Result<Listing> listing = open().list();
    std::string seen;
    for (const Entry entry : *listing) {
        seen += entry.name() + " " + entry.segment() + " " + entry.href() + " " +
                std::to_string(entry.size()) + (entry.isCollection() ? " collection\n" : "\n");
        EXPECT_TRUE(entry.modified());
    }
    EXPECT_EQ(seen, "a%b a%25b " + server.url("a%25b") + " 3\nsub sub " + server.url("sub/") +
                        " 0 collection\n");
    EXPECT_EQ(listing->size(), 2u);
}

}  // namespace
}  // namespace quillon
