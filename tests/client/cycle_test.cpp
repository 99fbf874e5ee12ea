// Members on a real server, as far as the program's own tests do not reach.
#include <gtest/gtest.h>

#include <algorithm>

#include "client/collection.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/files.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon {
namespace {

class Cycle : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(std::filesystem::is_empty(home.path())); }

    // A view of its own on the collection, as another person has it.
    Collection open(const std::string& url) {
        ExtensionOptions options;
        options.library = QUILLON_LIBRARY_PATH;
        options.cacheRoot = home.path();
        return *Collection::open(*Extension::load(options), *Address::parse(url), {});
    }
    Member member(std::string_view segment) { return *open(server.url()).member(segment); }

    support::Apache server;
    support::TemporaryDirectory home;
};

TEST_F(Cycle, aLockEndsWithItsMember) {
    server.addMember("file", "x");
    for (int i = 0; i < 2; ++i) EXPECT_EQ(*member("file").lock(), Protection::lock);
}

TEST_F(Cycle, whatOthersChangedIsNotOverwrittenWithoutALock) {
    // Apache's entity tag is weak, and so of no use, as long as a file is not a second old.
    const auto change = [&](const char* content, std::chrono::minutes age) {
        server.addMember("file", content);
        std::filesystem::last_write_time(server.documentRoot() / "file",
                                         std::filesystem::file_time_type::clock::now() - age);
    };
    change("old", std::chrono::minutes(2));
    Member tagged = member("file"), dated = member("file");
    ASSERT_TRUE(tagged.fetch());
    support::writeFile(dated.file(), "mine");
    ASSERT_TRUE(dated.noteDate());
    change("theirs", std::chrono::minutes(1));
    EXPECT_EQ(tagged.store({.ifUnchanged = true}).error().kind, Kind::changedOnServer);
    EXPECT_EQ(dated.store().error().code, Code::fileLost);
    EXPECT_EQ(support::readFile(server.documentRoot() / "file"), "theirs");
}

TEST_F(Cycle, aMemberIsRenamedOrRemovedUnlessItIsYounger) {
    server.addMember("file", "x");
    Member mine = member("file");
    const Time created = *mine.info()->created;
    for (const Time before : {created - std::chrono::seconds(1), Time{}}) {
        EXPECT_EQ(mine.rename("other", before).error().code, Code::newerFile);
        EXPECT_EQ(mine.remove(before).error().code, Code::newerFile);
    }
    EXPECT_TRUE(mine.rename("50%20 \xC3\xBC?", created));
    Member renamed = member("50%2520%20%C3%BC%3F");  // which is younger to Apache
    EXPECT_TRUE(renamed.remove(*renamed.info()->created));
    EXPECT_TRUE(std::filesystem::is_empty(server.documentRoot()));
}

TEST_F(Cycle, aMemberThatIsNotThereMayBePut) {
    support::ScriptedServer strict;  // answers no OPTIONS there
    strict.on("*", "/", support::Answer(200).with("Allow", "PUT"));
    strict.on("*", "/none", support::Answer(404));
    Member none = *open(strict.url()).member("none");
    EXPECT_EQ(std::ranges::count(none.info()->methods, "PUT"), 1);
}

TEST_F(Cycle, aListingOutlivesTheObjectsItCameFrom) {
    server.addMember("a%b", "123");
    server.addCollection("sub");
    const Result<Listing> listing = open(server.url()).list();
    std::string seen;
    for (const Entry entry : *listing) {
        seen += entry.name() + " " + entry.segment() + " " + entry.href() + " " +
                std::to_string(entry.size().value_or(0)) +
                (entry.isCollection() ? " collection\n" : "\n");
        EXPECT_TRUE(entry.modified());
    }
    EXPECT_EQ(seen, "a%b a%25b " + server.url("a%25b") + " 3\nsub sub " + server.url("sub/") +
                        " 0 collection\n");
    EXPECT_EQ(listing->size(), 2u);
}

}  // namespace
}  // namespace quillon
