// Members on a real server: lock, fetch, change, store, unlock; and what must not be lost.
#include <gtest/gtest.h>

#include <optional>

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
        extension = Extension::load(options);
        EXPECT_TRUE(*extension);
        Result<Collection> opened =
            Collection::open(**extension, *Address::parse(server.url()), {});
        EXPECT_TRUE(opened);
        return *std::move(opened);
    }
    Member member(std::string_view segment) { return *open().member(segment); }
    std::string onServer(const char* name) {
        return support::readFile(server.documentRoot() / name);
    }

    support::Apache server;
    support::TemporaryDirectory home;
    std::optional<Result<Extension>> extension;
};

TEST_F(Cycle, aMemberIsChangedUnderALock) {
    server.addMember("a b", "one");
    {
        Member mine = member("a%20b");
        const Result<Protection> protection = mine.lock();
        ASSERT_TRUE(protection);
        EXPECT_EQ(*protection, Protection::lock);
        ASSERT_TRUE(mine.fetch());
        EXPECT_EQ(support::readFile(mine.file()), "one");
        support::writeFile(mine.file(), "two");

        Member theirs = member("a%20b");
        const auto refused = theirs.lock();
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().kind, Kind::locked);
        support::writeFile(theirs.file(), "theirs");
        EXPECT_EQ(theirs.store().error().kind, Kind::locked);

        EXPECT_TRUE(mine.store());
        EXPECT_TRUE(mine.locked());
        EXPECT_EQ(onServer("a b"), "two");
    }
    Member after = member("a%20b");
    EXPECT_TRUE(after.lock()) << "the lock was given back";
}

TEST_F(Cycle, aLockLeftBehindIsAdoptedByItsToken) {
    server.addMember("file", "x");
    std::string token;
    {
        Member mine = member("file");
        ASSERT_TRUE(mine.lock());
        token = mine.lockToken();
        mine.abandonLock();
    }
    Member later = member("file");
    EXPECT_EQ(later.lock().error().kind, Kind::locked);
    ASSERT_TRUE(later.adoptLock(token));
    EXPECT_EQ(later.lockToken(), token);
    EXPECT_TRUE(later.unlock());
    EXPECT_TRUE(member("file").lock());
}

TEST_F(Cycle, whatOthersWroteMeanwhileIsNotOverwritten) {
    server.addMember("file", "x");
    Member mine = member("file");
    ASSERT_TRUE(mine.fetch());
    ASSERT_TRUE(mine.noteDate());
    server.addMember("file", "theirs");
    std::filesystem::last_write_time(
        server.documentRoot() / "file",
        std::filesystem::file_time_type::clock::now() + std::chrono::minutes(1));
    EXPECT_EQ(mine.store().error().code, Code::fileLost);
    EXPECT_EQ(mine.store({.ifUnchanged = true}).error().kind, Kind::changedOnServer);
    EXPECT_EQ(onServer("file"), "theirs");
}

TEST_F(Cycle, aNewMemberIsMadeOnce) {
    Member mine = member("new");
    Member theirs = member("new");
    EXPECT_FALSE(mine.exists());
    EXPECT_EQ(mine.fetch().error().kind, Kind::notFound);
    support::writeFile(mine.file(), "mine");
    support::writeFile(theirs.file(), "theirs");
    EXPECT_TRUE(theirs.store({.onlyNew = true}));
    EXPECT_EQ(mine.store({.onlyNew = true}).error().kind, Kind::changedOnServer);
    EXPECT_EQ(onServer("new"), "theirs");

    Member locked = member("locked");
    ASSERT_TRUE(locked.lock({.create = true}));
    EXPECT_EQ(onServer("locked"), "");
}

TEST_F(Cycle, aMemberIsRemovedOnlyWhenOldEnough) {
    server.addMember("file", "x");
    Member mine = member("file");
    const Result<Properties> properties = mine.info();
    ASSERT_TRUE(properties && properties->created);
    const auto second = std::chrono::seconds(1);
    EXPECT_EQ(mine.remove(*properties->created - second).error().code, Code::newerFile);
    EXPECT_EQ(mine.remove(Time{}).error().code, Code::newerFile);
    EXPECT_EQ(onServer("file"), "x");
    EXPECT_TRUE(mine.remove(*properties->created));
    EXPECT_EQ(mine.remove().error().kind, Kind::notFound);
}

TEST_F(Cycle, aRenameTakesNamesAsTheyAreAndDestroysNothing) {
    server.addMember("file", "x");
    server.addMember("taken", "y");
    Member mine = member("file");
    EXPECT_EQ(mine.rename("taken").error().code, Code::preconditionFailed);
    EXPECT_EQ(mine.rename("..").error().kind, Kind::usage);
    EXPECT_TRUE(mine.rename("50%20 \xC3\xBC?"));
    EXPECT_EQ(onServer("50%20 \xC3\xBC?"), "x");
    EXPECT_EQ(onServer("taken"), "y");
}

TEST_F(Cycle, collectionsAreMadeAndRemovedWithoutAFinalSlash) {
    open();
    const Address address = *Address::parse(server.url("sub"));
    EXPECT_TRUE(createCollection(**extension, address, {}));
    EXPECT_EQ(createCollection(**extension, address, {}).error().code, Code::mkcolNotAllowed);
    EXPECT_EQ(createCollection(**extension, *Address::parse(server.url("no/sub")), {}).error().code,
              Code::mkcolConflict);
    server.addMember("sub/file", "x");
    EXPECT_EQ(removeCollection(**extension, address, {}, false).error().code, Code::deleteRefused);
    EXPECT_TRUE(removeCollection(**extension, address, {}, true));
    EXPECT_FALSE(std::filesystem::exists(server.documentRoot() / "sub"));
}

TEST_F(Cycle, aListingOutlivesTheObjectsItCameFrom) {
    server.addMember("a%b", "123");
    server.addCollection("sub");
    Result<Listing> listing = open().list();
    extension.reset();
    ASSERT_TRUE(listing);
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
