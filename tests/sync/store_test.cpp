#include "sync/store.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "client/tree/local_entry.hpp"
#include "platform/files/content_hash.hpp"
#include "sync/stored_files.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

std::string hashOf(std::string_view content) {
    vxhost::ContentHash hash;
    hash.add(content);
    return hash.hex();
}

TEST(ChooseDropped, takesTheOldestButNothingThatIsKept) {
    const std::vector<StoredFile> files = {{"x/c", 10, 300}, {"x/a", 10, 100}, {"x/b", 10, 200}};
    const struct {
        std::set<std::string> kept;
        uint64_t most;
        int64_t notBefore;
        std::vector<std::string> dropped;
    } rows[] = {
        {{}, 30, 0, {}},           {{}, 29, 0, {"a"}},
        {{}, 10, 0, {"a", "b"}},   {{"a"}, 29, 0, {"b"}},
        {{"a", "b"}, 0, 0, {"c"}}, {{}, 30, 200, {"a"}},
        {{"a"}, 30, 300, {"b"}},   {{}, 9, 200, {"a", "b", "c"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> dropped;
        for (const StoredFile& file : chooseDropped(files, row.kept, row.most, row.notBefore)) {
            dropped.push_back(file.name());
        }
        EXPECT_EQ(dropped, row.dropped) << row.most << " " << row.notBefore;
    }
}

class StoreTest : public testing::Test {
protected:
    Store open(const StoreLimits& limits = {}) const {
        Result<Store> store = Store::open(directory / "store", limits);
        EXPECT_TRUE(store);
        return std::move(*store);
    }
    vxhost::Descriptor make(std::string_view name, std::string_view content) const {
        support::writeFile(directory / name, content);
        return {(directory / name).string(), O_RDONLY};
    }
    Result<void> copy(Store& store, std::string_view content) const {
        return store.copy(make("copied", content), "copied", hashOf(content));
    }
    static void makeOlder(const fs::path& path, std::chrono::hours by) {
        fs::last_write_time(path, fs::file_time_type::clock::now() - by);
    }
    const support::TemporaryDirectory directory;
};

TEST_F(StoreTest, findsWhatWasCopiedOrFilled) {
    Store store = open();
    ASSERT_TRUE(copy(store, "one"));
    ASSERT_TRUE(copy(store, "one"));
    const fs::path place = *store.find(hashOf("one"));
    EXPECT_EQ(place, placeOf(directory / "store", hashOf("one")));
    EXPECT_EQ(support::readFile(place), "one");
    EXPECT_EQ(support::modeOf(place), 0600u);
    EXPECT_EQ(support::modeOf(place.parent_path()), 0700u);
    for (const char* claimed : {"one", "three"}) {
        const Result<void> other = store.copy(make("two", "two"), "two", hashOf(claimed));
        EXPECT_EQ(other.error().kind, Kind::changedHere) << claimed;
    }
    EXPECT_FALSE(store.has(hashOf("three")) || store.has(hashOf("two")));
    EXPECT_FALSE(store.has("") || store.find("../../etc/passwd") || *store.keep(""));
    const fs::path filled = store.newName();
    support::writeFile(filled, "four");
    ASSERT_TRUE(store.adopt(filled, hashOf("four")));
    EXPECT_FALSE(fs::exists(filled));
    EXPECT_EQ(support::modeOf(*store.find(hashOf("four"))), 0600u);
}

TEST_F(StoreTest, keepsSmallTextsToMerge) {
    const StoreLimits limits{.mostCommonBytes = 12, .mostCommonText = 8};
    Store store = open(limits);
    const struct {
        std::string content;
        bool isKept;
    } rows[] = {{"text\n", true},
                {std::string("a\0b", 3), false},
                {"too large", false},
                {"text too", false /* more than 12 */},
                {"small", true}};
    for (const auto& [content, isKept] : rows) {
        const std::string hash = hashOf(content);
        store.keepCommon(make("common", content), content.size(), hash);
        EXPECT_EQ(store.find(hash).has_value(), isKept) << content;
        EXPECT_FALSE(store.has(hash)) << "nobody waited for the disk";
        EXPECT_EQ(*store.keep(hash), isKept);
        EXPECT_EQ(store.has(hash), isKept);
    }
    store.keepCommon(make("common", "x"), 1, hashOf("x"));
    support::writeFile(*store.find(hashOf("x")), "");
    EXPECT_FALSE(store.find(hashOf("x"))) << "is not what its name says";
}

TEST_F(StoreTest, looksAtLateFilesAgain) {
    enum class Then { nothing, written, beingWritten, linked, known, dropped };
    const struct {
        Then then;
        bool isSettled, isChanged;
        const char* content;  // that the store finds afterwards; null: none
    } rows[] = {
        {Then::nothing, true, false, "old"},       {Then::written, true, true, "old+"},
        {Then::beingWritten, false, false, "old"}, {Then::linked, true, false, "old"},
        {Then::known, true, false, "old"},         {Then::dropped, true, false, nullptr},
    };
    for (const auto& row : rows) {
        const support::TemporaryDirectory folder;
        vxhost::Descriptor hidden((folder / "hidden").string(), O_WRONLY | O_CREAT, 0644);
        support::writeFile(folder / "hidden", "old");
        const LocalEntry seen = lookAt(hidden);
        const HereState version{seen.inode, seen.size, seen.modifiedNs, 0, hashOf("old")};
        const fs::path shared = folder / "store";
        LateFile late;
        if (row.then == Then::linked) fs::create_hard_link(folder / "hidden", folder / "other");
        {
            Store store = std::move(*Store::open(shared, {}));
            late = *store.take({folder.path().string(), O_RDONLY}, "hidden", "a/b", version);
            EXPECT_TRUE(store.has(version.hash));
            EXPECT_EQ(support::readFile(*store.find(version.hash)), "old");
            EXPECT_FALSE(fs::exists(folder / "hidden"));
            if (row.then == Then::known) ASSERT_TRUE(copy(store, "old"));
        }
        if (row.then == Then::written) {
            ASSERT_EQ(pwrite(hidden.number(), "old+", 4, 0), 4);
        }
        if (row.then != Then::beingWritten) hidden.shut();
        if (row.then == Then::dropped) fs::remove(shared / "late/hidden");
        Store store = std::move(*Store::open(shared, {}));
        const CheckedLate checked = store.checkLate({late});
        EXPECT_EQ(checked.settled.size(), row.isSettled ? 1u : 0u) << int(row.then);
        ASSERT_EQ(checked.changed.size(), row.isChanged ? 1u : 0u) << int(row.then);
        if (row.isChanged) EXPECT_EQ(checked.changed[0].hash, hashOf("old+"));
        EXPECT_EQ(fs::exists(shared / "late/hidden"), !row.isSettled);
        const bool isFound = row.isSettled && row.content;
        ASSERT_EQ(isFound, isFound && store.has(hashOf(row.content))) << int(row.then);
        if (isFound) EXPECT_EQ(support::modeOf(*store.find(hashOf(row.content))), 0600u);
        if (row.then == Then::linked) {
            EXPECT_EQ(support::modeOf(folder / "other"), 0644u);
            EXPECT_EQ(fs::hard_link_count(folder / "other"), 1u);
        }
    }
}

}  // namespace
}  // namespace quillon::sync
