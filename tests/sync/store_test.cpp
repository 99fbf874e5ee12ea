#include "sync/store.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>

#include "client/tree/local_entry.hpp"
#include "platform/files/content_hash.hpp"
#include "sync/copy_path.hpp"
#include "sync/stored_files.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

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

TEST(CopyPathOf, keepsTheExtensionAndFitsAFileSystem) {
    const std::string umlauts = "\u00e4\u00e4\u00e4\u00e4", date = " (theirs, 2026-11-25 14.02)";
    std::string many;
    while (many.size() < 248) many += umlauts;
    const struct {
        std::string path, stem, extension;
    } rows[] = {
        {"d.d/q3.csv", "d.d/q3", ".csv"},
        {"d.d/q3", "d.d/q3", ""},
        {".profile", ".profile", ""},
        {"q3" + date, "q3" + date, ""},
        {"q3" + date + ".csv", "q3" + date, ".csv"},
        {"Dr. No", "Dr. No", ""},
        {"d/" + many + ".md", "d/" + many.substr(0, 224), ".md"},  // of 225
    };
    struct tm parts {};
    strptime("2026-11-25 14:02", "%Y-%m-%d %H:%M", &parts);
    parts.tm_isdst = -1;
    const Time when(std::chrono::seconds(mktime(&parts)));
    for (const auto& row : rows) {
        EXPECT_EQ(copyPathOf(row.path, when, 1), row.stem + date + row.extension);
    }
    EXPECT_EQ(copyPathOf("a.b", when, 2), "a (theirs, 2026-11-25 14.02, 2).b");
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
    enum class Then { nothing, writtenBefore, written, beingWritten, linked, known, dropped };
    // As a run does, which then ends.
    LateFile take(const fs::path& folder, Then then) const {
        Store store = open();
        const LocalEntry seen = lookAt({(folder / "hidden").string(), O_RDONLY});
        const HereState version{seen.inode, seen.size, seen.modifiedNs, 0, hashOf("old")};
        if (then == Then::writtenBefore) support::writeFile(folder / "hidden", "new");
        Result<LateFile> late = store.take({folder.string(), O_RDONLY}, "hidden", "a/b", version);
        EXPECT_TRUE(store.has(version.hash));
        EXPECT_TRUE(then != Then::known || copy(store, "old"));
        return *late;
    }
    // As the next run does; and what is there then.
    std::string check(const LateFile& late) const {
        Store store = open();
        const CheckedLate checked = store.checkLate({late});
        std::string outcome = checked.settled.empty() ? "late" : "settled";
        EXPECT_EQ(fs::exists(directory / "store/late/hidden"), checked.settled.empty());
        for (const LateFile& changed : checked.changed) {
            outcome += changed.hash == hashOf("new") ? " changed" : " as what?";
        }
        for (const char* content : {"old", "new"}) {
            const auto found = store.find(hashOf(content));
            if (!found) continue;
            outcome += " " + support::readFile(*found);
            EXPECT_EQ(support::modeOf(*found), 0600u);
        }
        return outcome;
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
                {"text too", false},
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
    const struct {
        Then then;
        const char* outcome;
    } rows[] = {
        {Then::nothing, "settled old"},
        {Then::written, "settled changed new"},
        {Then::writtenBefore, "settled changed new"},
        {Then::beingWritten, "late"},
        {Then::linked, "settled old"},
        {Then::known, "settled old"},
        {Then::dropped, "settled"},
    };
    const uint64_t device = lookAt({directory.path().string(), O_RDONLY}).device;
    for (const fs::path& root : {directory.path(), fs::path("/dev/shm")}) {  // another file system
        for (const auto& [then, outcome] : rows) {
            fs::remove_all(directory / "store");
            const fs::path folder = root / directory.path().filename();
            std::error_code none;
            if (!fs::create_directory(folder, none)) continue;  // there is none
            support::writeFile(folder / "hidden", "old");
            makeOlder(folder / "hidden", std::chrono::hours(1));
            vxhost::Descriptor hidden((folder / "hidden").string(), O_WRONLY);
            chmod((folder / "hidden").c_str(), 0644);
            if (then == Then::linked) fs::create_hard_link(folder / "hidden", folder / "other");
            const LateFile late = take(folder, then);
            EXPECT_FALSE(fs::exists(folder / "hidden"));
            const fs::path taken = directory / "store/late/hidden";
            if (then == Then::written) support::writeFile(taken, "new");
            if (then != Then::beingWritten) hidden.shut();
            if (then == Then::dropped) fs::remove(taken);
            const bool isCopy = lookAt({root.string(), O_RDONLY}).device != device;
            EXPECT_EQ(check(late), isCopy && then == Then::beingWritten ? "settled old" : outcome);
            if (then == Then::linked) {
                EXPECT_EQ(support::modeOf(folder / "other"), 0644u);
                EXPECT_EQ(fs::hard_link_count(folder / "other"), 1u);
            }
            fs::remove_all(folder);
        }
    }
}

TEST_F(StoreTest, dropsTheOldestAndNothingOfItsOwn) {
    const StoreLimits limits{.mostBytes = 160, .longest = std::chrono::hours(24)};
    const std::string contents[] = {std::string(40, 'a'), std::string(40, 'b'),
                                    std::string(40, 'c'), std::string(40, 'd')};
    const auto held = [&](const Store& store) {
        std::string names;
        for (const std::string& content : contents) {
            if (store.has(hashOf(content))) names += content[0];
        }
        return names;
    };
    {
        Store store = open(limits);
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(copy(store, contents[i]));
            makeOlder(*store.find(hashOf(contents[i])), std::chrono::hours(23 - i));
        }
    }
    Store store = open(limits);
    ASSERT_TRUE(copy(store, contents[3]));
    ASSERT_TRUE(store.reserve(0));
    EXPECT_EQ(held(store), "abcd");
    ASSERT_TRUE(*store.keep(hashOf(contents[0])));
    ASSERT_TRUE(store.reserve(30));
    EXPECT_EQ(held(store), "acd") << "of which a was taken again";
    const Result<void> tooMuch = store.reserve(81);
    ASSERT_FALSE(tooMuch);
    EXPECT_EQ(tooMuch.error().kind, Kind::local);
    EXPECT_EQ(held(store), "acd");
    const fs::path left = directory / "store/new/.quillon-left", young = store.newName();
    for (const fs::path& path : {left, young}) support::writeFile(path, "");
    for (const char content : {'a', 'c'}) {
        makeOlder(*store.find(hashOf(std::string(40, content))), std::chrono::hours(25));
    }
    makeOlder(left, std::chrono::hours(25));
    const Time now = timeNow();
    for (const std::optional<Time> theirs : {std::optional<Time>(), std::optional(now - 2h)}) {
        store.prune(theirs);
        EXPECT_EQ(held(store), "acd") << "only one clock says that c is too old";
    }
    store.prune(now + 1h);
    EXPECT_EQ(held(store), "ad");
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(fs::exists(young));
}

}  // namespace
}  // namespace quillon::sync
