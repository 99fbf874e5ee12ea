#include "cli/config_text.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "cli/config_edit.hpp"
#include "cli/core_dump.hpp"

namespace quillon::cli {
namespace {

const Site WORK{.name = "work",
                .url = "https://new/",
                .user = "ann \"a\" \\\x7F",
                .password = "{zebsodium1}new",
                .timeoutSeconds = 5};
constexpr const char* OUTCOME =
    "url = \"https://new/\"\nuser = \"ann \\\"a\\\" \\\\\\u007F\"\n"
    "password = \"{zebsodium1}new\"\ntimeout = 5\n";

// A person's own file, with everything that must not get lost.
constexpr std::string_view OWN =
    "\xEF\xBB\xBF# my servers, \xC3\xBC\r\ntheme = 'dark' # not ours\r\n\r\n"
    "  [ sites . \"wo.rk\" ] # the one at work\r\n"
    "\turl = \"https://a/\xF0\x9F\x98\x80/\" # old\r\n"
    "# between\r\n"
    "user   =   'bob'   # that is me\r\n"
    "password = \"\"\"{zebsodium1}\\\r\n   old\"\"\" # sealed\r\n"
    "colour = [ 'red', # warm\r\n 'blue' ]\r\n\r\n"
    "# the next\r\n[sites.next]\r\nurl='https://b/'";

TEST(ConfigText, settings) {
    const auto sites = parseSites(
        "[sites.a-1]\nurl='https://h/'\nuser='u'\npassword='{zeb}'\nproxy='p'\nca-file='c'\n"
        "timeout=86400\njobs=64\nelse=1\n[sites.draft]\nuser='x'\n[other]\nurl=1\n"
        "[sites.'b.c']\nurl='http://i'\n");
    ASSERT_TRUE(sites) << sites.error().sentences.front();
    ASSERT_EQ(sites->size(), 2u);
    const Site& site = sites->front();
    EXPECT_EQ(site.name + site.url + site.user + site.password + site.proxy + site.caFile,
              "a-1https://h/u{zeb}pc");
    EXPECT_EQ(site.timeoutSeconds, 86400);
    EXPECT_EQ(site.jobs, 64);
    EXPECT_EQ(findSite(*sites, "b.c")->url, "http://i");
    EXPECT_EQ(findSite(*sites, "draft"), nullptr);
}

TEST(ConfigText, whatIsWrongIsToldByLine) {
    const std::pair<const char*, const char*> rows[] = {
        {"\n[sites.ok]\nurl = 5\n", "Line 3: url must be a text"},
        {"[sites.ok]\ntimeout = 0\n", "Line 2: timeout must be a number from 1 to 86400"},
        {"[sites.ok]\njobs = '4'\n", "Line 2: jobs must be a number from 1 to 64"},
        {"[sites.ok]\nurl = 'ftp://h/'\n", "Line 1: the url of ok"},
        {"[sites.ok]\nurl = 'https://u:geheim@h/'\n", "holds a password"},
        {"[sites.o]\n", "Line 1: \"o\" is no site"},
        {"[sites]\nok = 1\n", "Line 2: \"ok\" is no site"},
        {"sites = 1\n", "Line 1: sites must be tables"},
        {"[sites.ok]\nurl = \"\n", "Line 2: "},
    };
    for (const auto& [text, problem] : rows) {
        const auto sites = parseSites(text);
        ASSERT_FALSE(sites) << text;
        EXPECT_NE(sites.error().sentences.front().find(problem), std::string::npos)
            << sites.error().sentences.front();
        EXPECT_EQ(sites.error().sentences.front().find("geheim"), std::string::npos);
    }
}

TEST(ConfigText, aLoginChangesItsOwnSettingsAlone) {
    const std::string table = std::string("[sites.work]\n") + OUTCOME;
    const std::pair<std::string, std::string> rows[] = {
        {"", table},
        {"# mine", "# mine\n\n" + table},
        {"a = 1\n", "a = 1\n\n" + table},
        {"[sites.work]", table},
        {"[sites.work] # c\n\n[other]\n",
         std::string("[sites.work] # c\n") + OUTCOME + "\n[other]\n"},
        {"[sites.work]\nurl='https://new/' # same\nx=1\n",
         "[sites.work]\nurl='https://new/' # same\n" + std::string(OUTCOME).substr(21) + "x=1\n"},
        {"[sites]\nwork={user='o',x=1}\n",
         "[sites]\nwork={user=\"ann \\\"a\\\" \\\\\\u007F\", url = \"https://new/\", password = "
         "\"{zebsodium1}new\", timeout = 5,x=1}\n"},
    };
    for (const auto& [before, after] : rows) {
        const auto changed = withSite(before, WORK);
        ASSERT_TRUE(changed) << before;
        EXPECT_EQ(*changed, after);
        EXPECT_EQ(withSite(after, WORK).operator bool(), true);
        EXPECT_EQ(*withSite(after, WORK), after);
    }
}

TEST(ConfigText, aPersonsOwnTextSurvives) {
    Site site{.name = "wo.rk", .url = "https://n/", .user = "", .password = "{zeb}2"};
    const auto changed = withSite(OWN, site);
    ASSERT_TRUE(changed);
    std::string expected(OWN);
    const auto put = [&](std::string_view old, std::string_view now) {
        expected.replace(expected.find(old), old.size(), now);
    };
    put("\"https://a/\xF0\x9F\x98\x80/\"", "\"https://n/\"");
    put("'bob'", "\"\"");
    put("\"\"\"{zebsodium1}\\\r\n   old\"\"\"", "\"{zeb}2\"");
    EXPECT_EQ(*changed, expected);

    const auto removed = withoutSite(OWN, "wo.rk");
    ASSERT_TRUE(removed);
    EXPECT_EQ(*removed,
              "\xEF\xBB\xBF# my servers, \xC3\xBC\r\ntheme = 'dark' # not ours\r\n\r\n"
              "  [ sites . \"wo.rk\" ] # the one at work\r\n"
              "# old\r\n# between\r\n# that is me\r\n# sealed\r\n"
              "colour = [ 'red', # warm\r\n 'blue' ]\r\n\r\n"
              "# the next\r\n[sites.next]\r\nurl='https://b/'");
}

TEST(ConfigText, aLogoutTakesBackWhatALoginWrote) {
    for (const std::string before : {"", "a = 1\n", "[sites.other]\nurl = 'https://h/'\n"}) {
        EXPECT_EQ(*withoutSite(*withSite(before, WORK), "work"), before);
    }
    const std::pair<const char*, const char*> rows[] = {
        {"[sites]\nwork = {url='https://h/'} # c\nhome.url='https://i/'\n",
         "[sites]\n# c\nhome.url='https://i/'\n"},
        {"[sites]\nwork.url = 'https://h/'\nwork.user = 'u'\n", "[sites]\n"},
        {"[sites.work]\nurl='https://h/'\n[sites.work.more]\nx=1\n",
         "[sites.work]\n[sites.work.more]\nx=1\n"},
    };
    for (const auto& [before, after] : rows) EXPECT_EQ(*withoutSite(before, "work"), after);
}

TEST(ConfigText, whatCannotBeChangedSafelyIsExplained) {
    const char* hard[] = {
        "sites = {work = {x=1}}\n",              // nothing to put the settings behind
        "sites = {other = {url='https://h/'}}",  // takes no more tables
        "[sites]\nwork.url = 'https://h/'\n",    // its settings have no place of their own
        "sites = 1",
        "[sites]\nwork = 1\n",
    };
    for (const char* text : hard) {
        const auto changed = withSite(text, WORK);
        ASSERT_FALSE(changed) << text;
        std::string told;
        for (const std::string& line : changed.error().sentences) told += line + "\n";
        EXPECT_NE(told.find("left alone"), std::string::npos) << told;
        EXPECT_NE(told.find(std::string("[sites.work]\n") + OUTCOME), std::string::npos) << told;
    }
    const char* shared = "[sites]\nwork = {url='https://h/',x=1}\n";
    EXPECT_FALSE(withoutSite(shared, "work"));
    EXPECT_FALSE(withoutSite("sites = {work={url='https://h/'},b={}}\n", "work"));
}

// Whatever the text, a change that is made is the one that was wanted.
TEST(ConfigText, everyCutAndEveryChangedByte) {
    const auto examine = [](std::string_view text) {
        (void)parseSites(text);
        if (const auto changed = withSite(text, WORK)) {
            EXPECT_NE(changed->find("https://new/"), std::string::npos);
            if (const auto sites = parseSites(*changed)) {
                ASSERT_NE(findSite(*sites, "work"), nullptr);
                EXPECT_EQ(findSite(*sites, "work")->user, WORK.user);
            }
        }
        if (const auto removed = withoutSite(text, "wo.rk")) {
            const auto sites = parseSites(*removed);
            EXPECT_TRUE(!sites || findSite(*sites, "wo.rk") == nullptr);
        }
    };
    for (size_t at = 0; at < OWN.size(); ++at) {
        examine(OWN.substr(0, at));
        for (const char other : {'\0', '\n', '\r', '"', '\'', '#', '=', '[', ']', '.', '\xFF'}) {
            std::string text(OWN);
            text[at] = other;
            examine(text);
        }
    }
}

TEST(CoreDump, isForbidden) {
    const int before = prctl(PR_GET_DUMPABLE);
    forbidCoreDumps();
    EXPECT_EQ(prctl(PR_GET_DUMPABLE), 0);
    prctl(PR_SET_DUMPABLE, before);
}

}  // namespace
}  // namespace quillon::cli
