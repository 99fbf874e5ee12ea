#include "client/tree/filter.hpp"

#include <gtest/gtest.h>

#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon {
namespace {

// A word a rule: "-x", "+x" in their order. The lines: the paths that count, of all paths.
struct Row {
    std::vector<std::string> rules;
    std::string taken;
};

TEST(Filter, theLastPatternThatMatchesDecides) {
    const std::string paths[] = {"a.txt",   "b.o",    "d/",         "d/a.txt", "d/e/",
                                 "d/e/b.o", "build/", "build/keep", "x/build", ".hidden"};
    const Row rows[] = {
        {{}, "a.txt b.o d/ d/a.txt d/e/ d/e/b.o build/ build/keep x/build .hidden"},
        {{"-*.o"}, "a.txt d/ d/a.txt d/e/ build/ build/keep x/build .hidden"},
        {{"-*.o", "+/b.o"}, "a.txt b.o d/ d/a.txt d/e/ build/ build/keep x/build .hidden"},
        {{"+/b.o", "-*.o"}, "a.txt d/ d/a.txt d/e/ build/ build/keep x/build .hidden"},
        {{"-build/"}, "a.txt b.o d/ d/a.txt d/e/ d/e/b.o x/build .hidden"},
        {{"-build", "+build/keep"}, "a.txt b.o d/ d/a.txt d/e/ d/e/b.o .hidden"},
        {{"-d/*.txt"}, "a.txt b.o d/ d/e/ d/e/b.o build/ build/keep x/build .hidden"},
        {{"-d/*.o"}, "a.txt b.o d/ d/a.txt d/e/ d/e/b.o build/ build/keep x/build .hidden"},
        {{"-d/**/*.o", "-d/**/a.txt"}, "a.txt b.o d/ d/e/ build/ build/keep x/build .hidden"},
        {{"-d/**"}, "a.txt b.o d/ build/ build/keep x/build .hidden"},
        {{"-**/e"}, "a.txt b.o d/ d/a.txt build/ build/keep x/build .hidden"},
        {{"+*.txt"}, "a.txt d/ d/a.txt d/e/ build/"},
        {{"+build/"}, "d/ d/e/ build/ build/keep"},
        {{"-?*", "+[!b].txt"}, "a.txt"},
        {{"-./d", "-.*"}, "a.txt b.o build/ build/keep x/build"},
    };
    for (const Row& row : rows) {
        Filter filter;
        std::string shown, taken;
        for (const std::string& rule : row.rules) {
            const std::string pattern = rule.substr(1);
            ASSERT_TRUE(rule[0] == '-' ? filter.exclude(pattern) : filter.include(pattern));
            shown += rule + ' ';
        }
        for (const std::string& path : paths) {
            const bool isCollection = path.ends_with('/');
            const std::string plain = path.substr(0, path.size() - (isCollection ? 1 : 0));
            if (filter.takes(plain, isCollection)) taken += (taken.empty() ? "" : " ") + path;
        }
        EXPECT_EQ(taken, row.taken) << shown;
    }
}

TEST(Filter, aFileHasAPatternALine) {
    const support::TemporaryDirectory folder;
    support::writeFile(folder / "rules", "# comment\n\n*.o  \r\n!keep.o\n\\#x\nend\\ \n/top");
    Filter filter;
    ASSERT_TRUE(filter.excludeFrom(folder / "rules"));
    const std::pair<const char*, bool> rows[] = {
        {"a.o", false}, {"d/keep.o", true}, {"#x", false}, {"end ", false},
        {"end", true},  {"d/top", true},    {"top", false}};
    for (const auto& [path, taken] : rows) EXPECT_EQ(filter.takes(path, false), taken) << path;
    support::writeFile(folder / "rules", "fine\n[a\n");
    EXPECT_NE(filter.excludeFrom(folder / "rules").error().sentences.front().find("line 2: "),
              std::string::npos);
    EXPECT_EQ(filter.excludeFrom(folder / "none").error().kind, Kind::local);
}

TEST(Filter, whatIsNoPatternIsRefused) {
    for (const char* pattern : {"", "/", "./", "[a", "a\\", "../x", "[[:alpha:]]"}) {
        const Result<void> added = Filter().exclude(pattern);
        ASSERT_FALSE(added) << pattern;
        EXPECT_EQ(added.error().kind, Kind::usage) << pattern;
    }
}

TEST(NamePattern, matchesCharacters) {
    struct Match {
        const char* pattern;
        std::string name;
        bool matches;
    };
    const Match rows[] = {
        {"?", "\xC3\xBC", true},
        {"?", "\xFF", true},
        {"??", "\xC3\xBC", false},
        {"[a-c]x", "bx", true},
        {"[!a-c]", "b", false},
        {"[^a]", "\xC3\xBC", true},
        {"[]a]", "]", true},
        {"[a-]", "-", true},
        {"\\*", "*", true},
        {"\\*", "x", false},
        {"a*b*c", "aXbYc", true},
        {"a*b*c", "aXbY", false},
        {"*a", ".a", false},
        {".*", ".a", true},
        {"*", "", true},
        // In less than a second, though a name could be tried in more ways than there are atoms.
        {"*a*a*a*a*a*a*a*a*a*a*b", std::string(255, 'a'), false},
    };
    for (const auto& [pattern, name, matches] : rows) {
        const auto parsed = NamePattern::parse(pattern);
        ASSERT_TRUE(parsed) << pattern;
        EXPECT_EQ(parsed->matchesVisible(name), matches) << pattern << ' ' << name;
    }
}

}  // namespace
}  // namespace quillon
