#include "cli/words.hpp"

#include <gtest/gtest.h>

#include "cli/shell_path.hpp"

namespace quillon::cli {
namespace {

TEST(Words, blanksPartWordsButInQuotes) {
    using Words = std::vector<std::string>;
    const std::pair<const char*, Words> rows[] = {
        {"", {}},
        {"  ls\t-l  x ", {"ls", "-l", "x"}},
        {"get 'a b' \"c d\"e", {"get", "a b", "c de"}},
        {R"(x\ y 'it'\''s' "a\"b" 'c\d')", {"x y", "it's", "a\"b", "c\\d"}},
        {"put '' x", {"put", "", "x"}},
        {"# put x", {}},
        {"put #x", {"put", "#x"}},
        {"end\\", {"end\\"}},
    };
    for (const auto& [line, words] : rows) {
        const auto split = splitWords(line);
        ASSERT_TRUE(split) << line;
        EXPECT_EQ(*split, words) << line;
    }
    EXPECT_FALSE(splitWords("get 'a b"));
    EXPECT_FALSE(splitWords("get \"a b"));
}

TEST(Words, whatIsQuotedIsOneWordAgain) {
    std::string all = "\xC3\xBC";
    for (char c = ' '; c < '\x7F'; ++c) all += c;
    EXPECT_EQ(*splitWords(quotedWord(all)), std::vector<std::string>{all});
    EXPECT_EQ(quotedWord("plain-1.txt/"), "plain-1.txt/");
}

TEST(Words, theOneThatIsBeingTyped) {
    struct Row {
        const char* line;
        size_t before;
        const char* text;
        size_t start;
    };
    const Row rows[] = {{"", 0, "", 0},
                        {"ge", 0, "ge", 0},
                        {"get ", 1, "", 4},
                        {"get a\\ b", 1, "a b", 4},
                        {"get x 'a b", 2, "a b", 6}};
    for (const Row& row : rows) {
        const LastWord word = lastWord(row.line);
        EXPECT_EQ(word.before, row.before) << row.line;
        EXPECT_EQ(word.text, row.text) << row.line;
        EXPECT_EQ(word.start, row.start) << row.line;
    }
}

TEST(ShellPath, namesAreRelativeAndTakenAsTheyAre) {
    const Address base = *Address::parse("http://h/a/b/");
    const std::pair<const char*, const char*> rows[] = {
        {"", "http://h/a/b/"},
        {"c", "http://h/a/b/c"},
        {"c/", "http://h/a/b/c/"},
        {"c/d e?", "http://h/a/b/c/d%20e%3F"},
        {"..", "http://h/a/"},
        {"../../../..", "http://h/"},
        {"../x/./y/", "http://h/a/x/y/"},
        {"/", "http://h/"},
        {"/x//y", "http://h/x/y"},
        {"100%25", "http://h/a/b/100%2525"},
        {"https://g/%20", "https://g/%20"},
    };
    for (const auto& [typed, url] : rows) {
        const auto address = resolveShellPath(base, typed);
        ASSERT_TRUE(address) << typed;
        EXPECT_EQ(address->url(), url) << typed;
    }
}

}  // namespace
}  // namespace quillon::cli
