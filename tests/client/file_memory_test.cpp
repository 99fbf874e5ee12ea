#include "client/memory/file_memory.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/xattr.h>

#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

const FileNote whole{"https://host/a%20b", "W/\"t\"", Time(std::chrono::milliseconds(5)),
                     std::string(64, 'a'), 7,         -1};

TEST(FileNote, onlyItsOwnFormIsRead) {
    EXPECT_EQ(parseNote(textOf(whole)), whole);
    const FileNote least{"http://h", "", {}, "", 0, 0};
    EXPECT_EQ(parseNote(textOf(least)), least);
    const std::string hash(64, 'a');
    const std::string rows[] = {
        "",
        textOf(whole) + "\n",
        "ftp://h/a\n\n\n\n0\n0",
        "http://ann@h/a\n\n\n\n0\n0",
        "http://h/a?b\n\n\n\n0\n0",
        "http://h/\x1b[2J\n\n\n\n0\n0",
        "http://h/" + std::string(9000, 'a') + "\n\n\n\n0\n0",
        "http://h/a\nt\n\n\n0\n0",
        "http://h/a\n\"t\"\r\n\n\n0\n0",
        "http://h/a\n\nx\n\n0\n0",
        "http://h/a\n\n\n" + hash + "a\n0\n0",
        "http://h/a\n\n\n\n-1\n0",
    };
    for (const std::string& text : rows) EXPECT_FALSE(parseNote(text)) << text;
}

class FileMemoryTest : public testing::Test {
protected:
    FileMemoryTest() {
        setenv("XDG_STATE_HOME", state.path().c_str(), 1);
        for (const char* name : {"a", "b"}) support::writeFile(folder / name, name);
        FileMemory memory;
        for (const char* name : {"a", "b"}) {
            memory.keep(folder / name, {(folder / name).string(), O_RDONLY}, whole);
        }
    }
    ~FileMemoryTest() override { unsetenv("XDG_STATE_HOME"); }
    void execute(const char* text) const {
        sqlite3* database = nullptr;
        sqlite3_open((state / "quillon/notes.db").c_str(), &database);
        EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
    }
    size_t countByPath() const {
        size_t count = 0;
        FileMemory().forEachBelow(folder.path(), [&](const auto&, const FileNote&) { ++count; });
        return count;
    }
    const support::TemporaryDirectory state, folder;
};

TEST_F(FileMemoryTest, eitherPlaceServes) {
    EXPECT_EQ(support::modeOf(state / "quillon/notes.log"), 0600u);
    fs::remove(folder / "a");
    support::writeFile(folder / "a", "written anew");
    EXPECT_EQ(FileMemory().find(folder / "a"), whole);  // by path
    fs::rename(folder / "b", folder / "c");
    EXPECT_EQ(FileMemory().find(folder / "c"), whole);  // by its attributes
    EXPECT_FALSE(FileMemory().find(folder / "b/none"));
    EXPECT_EQ(countByPath(), 2u);
    EXPECT_EQ(support::modeOf(state / "quillon/notes.db"), 0600u);
}

// The log goes into the store when that is opened, or when it is full; what a power cut tore costs
// the note that it is of.
TEST_F(FileMemoryTest, noNoteIsLostBetweenLogAndStore) {
    const fs::path log = state / "quillon/notes.log";
    std::string torn = support::readFile(log);
    for (const char* line : {"\nhalf", "%00 %00\n", "\n/x ", "\n"})
        support::writeFile(log, torn += line);
    const fs::path odd = folder / "odd\n \xFFname";
    support::writeFile(odd, "x");
    FileMemory().keep(odd, {odd.string(), O_RDONLY}, whole);
    FileMemory().forget(folder / "a");
    EXPECT_EQ(countByPath(), 2u);
    EXPECT_EQ(fs::file_size(log), 0u);
    for (int n = 0; n < 1000; ++n) {
        FileMemory().keep(folder / std::to_string(n), {odd.string(), O_RDONLY}, whole);
        ASSERT_LE(fs::file_size(log), size_t{64} << 10);
    }
    EXPECT_EQ(countByPath(), 1002u);
}

// Whichever of log and store cannot be used, the other one serves, to note and to find.
TEST_F(FileMemoryTest, eitherOfLogAndStoreServes) {
    const fs::path log = state / "quillon/notes.log", store = state / "quillon/notes.db";
    const auto spoilt = [&](const fs::path& path, const char* name) {
        fs::remove_all(path);
        if (path == log) {
            fs::create_directory(path);
        } else {
            support::writeFile(path, std::string(5000, 'x'));
        }
        fs::remove(folder / name);
        support::writeFile(folder / name, name);
        FileMemory().keep(folder / name, {(folder / name).string(), O_RDONLY}, whole);
        fs::remove(folder / name);
        support::writeFile(folder / name, "written anew");
        return FileMemory().find(folder / name);
    };
    EXPECT_EQ(spoilt(log, "a"), whole);
    fs::remove_all(log);
    EXPECT_EQ(spoilt(store, "b"), whole);
    support::writeFile(log, std::string(100'000, '\n') + support::readFile(log));
    fs::remove(store);
    FileMemory().keep(folder / "a", {(folder / "a").string(), O_RDONLY}, whole);
    EXPECT_EQ(FileMemory().find(folder / "a"), whole);
    EXPECT_EQ(fs::file_size(log), 0u);
}

TEST_F(FileMemoryTest, aDamagedStoreIsKeptAsideAndToldOfOnce) {
    const fs::path store = state / "quillon/notes.db";
    for (const size_t beginning : {size_t{0}, size_t{4096}}) {
        EXPECT_EQ(countByPath(), beginning == 0 ? 2u : 1u);
        execute("PRAGMA wal_checkpoint(TRUNCATE)");
        std::string content = support::readFile(store);
        ASSERT_GT(content.size(), beginning);
        content.replace(beginning, std::string::npos, content.size() - beginning, 'x');
        support::writeFile(store, content);
        std::vector<std::string> told;
        FileMemory memory([&](const std::string& sentence) { told.push_back(sentence); });
        EXPECT_FALSE(memory.find(folder / "none"));
        memory.keep(folder / "a", {(folder / "a").string(), O_RDONLY}, whole);
        EXPECT_FALSE(memory.find(folder / "none"));
        const std::string aside = store.string() + (beginning == 0 ? ".damaged" : ".damaged-2");
        ASSERT_EQ(told.size(), 1u);
        EXPECT_NE(told.front().find(aside + ". Files"), std::string::npos) << told.front();
        EXPECT_EQ(support::readFile(aside), content);
    }
}

TEST_F(FileMemoryTest, whatIsLongGoneAndWhatIsOfALaterVersionIsNotUsed) {
    fs::remove(folder / "b");
    EXPECT_EQ(countByPath(), 2u);
    execute("UPDATE notes SET seen = 1");
    FileMemory().keep(folder / "a", {(folder / "a").string(), O_RDONLY}, whole);
    EXPECT_EQ(countByPath(), 1u);
    execute("PRAGMA user_version = 2");
    EXPECT_EQ(countByPath(), 0u);
    EXPECT_THROW(NoteStore::open(NoteStore::Missing::left), vxhost::Failure);
    EXPECT_EQ(FileMemory().find(folder / "a"), whole);
    EXPECT_FALSE(FileMemory().find(folder / "b"));
}

}  // namespace
}  // namespace quillon
