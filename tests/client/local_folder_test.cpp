#include "client/tree/local_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/files/beneath.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

TEST(LocalNames, someCannotBe) {
    using namespace std::string_view_literals;
    const std::pair<std::string_view, bool> rows[] = {
        {"a b", true}, {".hidden", true}, {"...", true},     {"", false},         {".", false},
        {"..", false}, {"a/b", false},    {"a\0b"sv, false}, {".quillon-", false}};
    for (const auto& [name, fits] : rows) EXPECT_EQ(whyNotLocal(name).empty(), fits) << name;
    EXPECT_TRUE(whyNotLocal(std::string(255, 'a')).empty());
    EXPECT_FALSE(whyNotLocal(std::string(256, 'a')).empty());
}

TEST(LocalNames, someAreOneFile) {
    struct Spellings {
        const char *a, *b;
        bool byCase, byForm;  // they are one where that is folded
    };
    const Spellings rows[] = {{"A", "a", true, false},
                              {"\xC3\xA9", "e\xCC\x81", false, true},
                              {"STRASSE",
                               "stra\xC3\x9F"
                               "e",
                               true, false},
                              {"a", "b", false, false},
                              {"\xFF", "\xFE", false, false}};
    for (const auto& [a, b, byCase, byForm] : rows) {
        const auto areOne = [one = a, other = b](Folding folding) {
            return foldedName(one, folding) == foldedName(other, folding);
        };
        EXPECT_FALSE(areOne({})) << a;
        EXPECT_EQ(areOne({.letterCase = true}), byCase) << a;
        EXPECT_EQ(areOne({.form = true}), byForm) << a;
    }
    EXPECT_EQ(foldedName("\xC3\x89", {true, true}), foldedName("e\xCC\x81", {true, true}));
}

class LocalFolderTest : public testing::Test {
protected:
    LocalFolderTest() {
        fs::create_directory(outside.path() / "o");
        support::writeFile(outside / "precious", "theirs");
        fs::create_directory(root.path() / "d");
        support::writeFile(root / "a", "old");
        fs::create_symlink(outside.path(), root / "way out");
        fs::create_symlink(outside / "precious", root / "link");
    }

    NewFile written(std::string_view path, std::string_view content) const {
        Result<NewFile> file = folder.makeFile(path);
        if (!file) throw std::runtime_error(file.error().sentences.front());
        EXPECT_TRUE(file->write("worthless"));
        EXPECT_TRUE(file->restart());
        EXPECT_TRUE(file->write(content));
        return std::move(*file);
    }
    std::optional<LocalEntry> seen(std::string_view path) const { return *folder.look(path); }
    size_t count() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(root.path()), fs::directory_iterator()));
    }

    const support::TemporaryDirectory root, outside;
    const LocalFolder folder = *LocalFolder::open(root.path());
};

TEST_F(LocalFolderTest, noPathLeadsOut) {
    for (const char* path :
         {"way out/new", "../new", "d/../../new", "/tmp/new", "d//new", "./new"}) {
        EXPECT_FALSE(folder.makeFile(path)) << path;
        EXPECT_FALSE(folder.makeFolder(path)) << path;
        EXPECT_FALSE(folder.look(path)) << path;
        EXPECT_FALSE(folder.removeFolder(path)) << path;
    }
    EXPECT_FALSE(folder.scan("way out", Links::left));
    EXPECT_FALSE(folder.openForReading("link", Links::left));
    EXPECT_FALSE(written("link", "x").place({}, seen("link")));
    EXPECT_FALSE(written("link", "x").place({}, {}));
    EXPECT_EQ(support::readFile(outside / "precious"), "theirs");
    EXPECT_TRUE(folder.openForReading("link", Links::followed));
    const vxhost::Descriptor top(root.path(), O_RDONLY | O_DIRECTORY);
    for (const char* path : {"way out/precious", "link", "../x"}) {
        EXPECT_THROW(vxhost::openBeneathBySteps(top, path, O_RDONLY), vxhost::Failure) << path;
    }
    EXPECT_NO_THROW(vxhost::openBeneathBySteps(top, "d", O_RDONLY));
}

TEST_F(LocalFolderTest, aHashThatWasLeftCanBeReadLater) {
    NewFile file = written("new", "x");
    const std::string hash = file.hash();
    file.leaveHash();
    EXPECT_EQ(file.hash(), "");
    EXPECT_EQ(*file.readHash(), hash);
    EXPECT_TRUE(file.restart() && file.write("x"));
    EXPECT_EQ(file.hash(), hash);
}

TEST_F(LocalFolderTest, aFileIsPlacedOnlyOverWhatWasSeen) {
    chmod((root / "a").c_str(), 0604);
    const auto before = seen("a");
    const Time date{std::chrono::milliseconds(1'000'000'000'500)};
    const size_t count = this->count();
    const auto placed = written("a", "new").place(date, before);
    ASSERT_TRUE(placed);
    EXPECT_EQ(support::readFile(root / "a"), "new");
    EXPECT_EQ(support::modeOf(root / "a"), 0604u);
    EXPECT_EQ(placed->modifiedNs, 1'000'000'000'500'000'000);
    EXPECT_TRUE(isUntouched(*placed, *seen("a")));

    support::writeFile(root / "a", "their edit");
    const std::pair<const char*, std::optional<LocalEntry>> refused[] = {
        {"a", before}, {"a", std::nullopt}, {"d/gone", before}, {"d", std::nullopt}};
    for (const auto& [path, expected] : refused) {
        const auto result = written(path, "newer").place({}, expected);
        ASSERT_FALSE(result) << path;
        EXPECT_EQ(result.error().kind, Kind::changedHere) << path;
    }
    EXPECT_EQ(folder.removeFile("a", *before).error().kind, Kind::changedHere);
    EXPECT_EQ(support::readFile(root / "a"), "their edit");
    EXPECT_TRUE(folder.removeFile("a", *seen("a")));
    EXPECT_EQ(this->count(), count - 1);
}

TEST_F(LocalFolderTest, aScanIsInOrderAndSaysWhatIsNoPartOfIt) {
    fs::create_symlink("..", root / "d/up");
    fs::create_symlink("nowhere", root / "broken");
    support::writeFile(root / "\xFF", "");
    support::writeFile(root / ".quillon-1", "");
    mkfifo((root / "pipe").c_str(), 0600);
    const auto shown = [&](const char* path, Links links) {
        std::string text;
        const auto entries = folder.scan(path, links);
        if (!entries) return entries.error().sentences.front();
        for (const ScannedEntry& entry : *entries) {
            text += entry.name + '=' + std::to_string(static_cast<int>(entry.unfit)) + ' ';
        }
        return text;
    };
    EXPECT_EQ(shown("", Links::left),
              ".quillon-1=6 a=0 broken=2 d=0 link=2 pipe=5 way out=2 \xFF=1 ");
    EXPECT_EQ(shown("", Links::followed),
              ".quillon-1=6 a=0 broken=3 d=0 link=0 pipe=5 way out=0 \xFF=1 ");
    EXPECT_EQ(shown("d", Links::followed), "up=4 ");
    EXPECT_EQ(shown("way out", Links::followed), "o=0 precious=0 ");
    EXPECT_FALSE(folder.openForReading("pipe", Links::followed));
    const auto folding = folder.folding();
    ASSERT_TRUE(folding);
    EXPECT_EQ(folding->letterCase, fs::exists(root / "A"));
}

}  // namespace
}  // namespace quillon
