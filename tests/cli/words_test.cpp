#include "cli/parser/words.hpp"

#include <gtest/gtest.h>

#include "cli/parser/nearest.hpp"
#include "cli/parser/shell_path.hpp"

namespace quillon::cli {
namespace {

using Words = std::vector<std::string>;

TEST(Words, blanksPartWordsButInQuotes) {
    const std::pair<const char*, Words> rows[] = {
        {"  ls\t-l  x ", {"ls", "-l", "x"}},
        {R"(x\ y 'it'\''s' "a\"b" 'c\d'e)", {"x y", "it's", "a\"b", "c\\de"}},
        {"put '' #x", {"put", "", "#x"}},
        {"# put x", {}},
        {"end\\", {"end\\"}},
        {R"(a\x1b\x5Cx1B\x41 '\x1B')", {"a\x1B\\x1Bx41", "\\x1B"}},
    };
    for (const auto& [line, words] : rows) EXPECT_EQ(*splitWords(line), words) << line;
    for (const char* line : {"get 'a b", "ls >out", "ls | sort", "get a>b"})
        EXPECT_FALSE(splitWords(line)) << line;
    EXPECT_EQ(*splitWords("get 'a>b' c\\|d"), (Words{"get", "a>b", "c|d"}));
    std::string all = "\xC3\xBC\x1B\n";
    for (char c = ' '; c < '\x7F'; ++c) all += c;
    EXPECT_EQ(*splitWords(quotedWord(all)), Words{all});
}

TEST(Words, signsOfAPatternStandWithoutQuotes) {
    const std::pair<const char*, const char*> rows[] = {
        {"a*", "a*"},
        {"'a*'", ""},
        {"a\\*", ""},
        {"x", ""},
        {"'*'[!a]?", "\\*[!a]?"},
        {"\"[b]\"*", "\\[b\\]*"},
    };
    for (const auto& [word, pattern] : rows)
        EXPECT_EQ(splitShellWords(word)->front().pattern, pattern) << word;
}

TEST(Words, aSlipIsToldFromAnotherWord) {
    const Words words{"ls", "get", "put", "login", "logout", "--json", "--user"};
    const std::pair<const char*, const char*> rows[] = {{"lss", "ls"},
                                                        {"gte", "get"},
                                                        {"lgoin", "login"},
                                                        {"--jsno", "--json"},
                                                        {"logoutt", "logout"},
                                                        {"xyz", ""},
                                                        {"x", ""},
                                                        {"", ""},
                                                        {"cat", ""}};
    for (const auto& [typed, meant] : rows) EXPECT_EQ(nearestWord(typed, words), meant) << typed;
}

TEST(Words, theOneThatIsBeingTyped) {
    const std::tuple<const char*, size_t, const char*, size_t> rows[] = {
        {"", 0, "", 0},
        {"ge", 0, "ge", 0},
        {"get ", 1, "", 4},
        {"get a\\ b", 1, "a b", 4},
        {"get x 'a b", 2, "a b", 6}};
    for (const auto& row : rows) {
        const LastWord word = lastWord(std::get<0>(row));
        EXPECT_EQ(std::tuple(std::get<0>(row), word.before, word.text, word.start), row);
    }
}

TEST(ShellPath, namesAreRelativeAndTakenAsTheyAre) {
    const Address base = *Address::parse("http://h/a/b/");
    const std::pair<const char*, const char*> rows[] = {
        {"", "http://h/a/b/"},        {"c/d e?%25", "http://h/a/b/c/d%20e%3F%2525"},
        {"../../../..", "http://h/"}, {"../x/./y/", "http://h/a/x/y/"},
        {"/x//y", "http://h/x/y"},    {"https://g/%20", "https://g/%20"},
    };
    for (const auto& [typed, url] : rows) EXPECT_EQ(resolveShellPath(base, typed)->url(), url);
}

}  // namespace
}  // namespace quillon::cli
