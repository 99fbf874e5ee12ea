#include "cli/config/config_text.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "cli/config/config_edit.hpp"

namespace quillon::cli {
namespace {

const Site WORK{.name = "work",
                .url = "https://new/",
                .user = "ann \"a\" \\\x7F",
                .password = "{zebsodium1}new",
                .timeoutSeconds = 5};
const std::string URL = "url = \"https://new/\"\n";
const std::string REST =
    "user = \"ann \\\"a\\\" \\\\\\u007F\"\npassword = \"{zebsodium1}new\"\ntimeout = 5\n";
const std::string TABLE = "[sites.work]\n" + URL + REST;

std::string told(const Error& error) {
    return fmt::format("{}\n", fmt::join(error.sentences, "\n"));
}

TEST(ConfigText, settings) {
    const auto sites = parseSites(
        "[sites.a-1]\nurl='https://h/'\nuser='u'\npassword='{zeb}'\nproxy='p'\nca-file='c'\n"
        "timeout=86400\njobs=64\nelse=1\n[sites.draft]\nuser='x'\n[other]\nurl=1\n");
    ASSERT_TRUE(sites) << told(sites.error());
    ASSERT_EQ(sites->size(), 1u);
    const Site& site = sites->front();
    EXPECT_EQ(site.name + site.url + site.user + site.password + site.proxy + site.caFile,
              "a-1https://h/u{zeb}pc");
    EXPECT_EQ(site.timeoutSeconds + site.jobs, 86400 + 64);
}

TEST(ConfigText, whatIsWrongIsToldByLine) {
    const std::pair<const char*, const char*> rows[] = {
        {"\n[sites.ok]\nurl = 5\n", "Line 3: url must be a text in quotes.\n"},
        {"[sites.ok]\ntimeout = 0\n", "Line 2: timeout must be a number from 1 to 86400.\n"},
        {"[sites.ok]\njobs = 65\n", "Line 2: jobs must be a number from 1 to 64.\n"},
        {"[sites.ok]\nurl = 'ftp://h/'\n", "Line 1: the url of ok is none of a WebDAV server.\n"},
        {"[sites.ok]\nurl = 'https://u:geheim@h/'\n",
         "Line 1: the url of ok holds a password; take it out, then: quillon login ok.\n"},
        {"[sites.o]\n",
         "Line 1: \"o\" is no site: that is a table whose name is two letters, "
         "digits, \"-\", \"_\" or \".\" at least.\n"},
        {"sites = 1\n", "Line 1: sites must be tables.\n"},
    };
    for (const auto& [text, problem] : rows) EXPECT_EQ(told(parseSites(text).error()), problem);
    EXPECT_TRUE(told(parseSites("[sites.ok]\nurl = \"\n").error()).starts_with("Line 2: "));
}

TEST(ConfigText, aChangeTouchesItsOwnSettingsAlone) {
    const std::pair<std::string, std::string> logins[] = {
        {"", TABLE},
        {"# mine", "# mine\n\n" + TABLE},
        {"a = 1\n", "a = 1\n\n" + TABLE},
        {"[sites.work]", TABLE},
        {"[sites.work] # c\n\n[other]\n", "[sites.work] # c\n" + URL + REST + "\n[other]\n"},
        {"[sites.work]\nurl='https://new/' # same\nx=1\n",
         "[sites.work]\nurl='https://new/' # same\n" + REST + "x=1\n"},
        {"[sites]\nwork={user='o',x=1}\n",
         "[sites]\nwork={user=\"ann \\\"a\\\" \\\\\\u007F\", url = \"https://new/\", password = "
         "\"{zebsodium1}new\", timeout = 5,x=1}\n"},
    };
    for (const auto& [before, after] : logins) {
        EXPECT_EQ(*withSite(before, WORK), after);
        EXPECT_EQ(*withSite(after, WORK), after);
    }
    EXPECT_EQ(*withSite(TABLE, {.name = "work", .url = "https://new/"}),
              "[sites.work]\n" + URL + "user = \"\"\npassword = \"\"\ntimeout = 5\n");
    const std::pair<std::string, std::string> logouts[] = {
        {TABLE, ""},
        {"[sites.other]\nurl = 'https://h/'\n\n" + TABLE, "[sites.other]\nurl = 'https://h/'\n"},
        {"[sites]\nwork = {url='https://h/'} # c\nb.url='https://i/'\n",
         "[sites]\n# c\nb.url='https://i/'\n"},
        {"[sites]\nwork.url = 'https://h/'\nwork.user = 'u'\n", "[sites]\n"},
        {TABLE + "[sites.work.more]\nx=1\n", "[sites.work]\n[sites.work.more]\nx=1\n"},
    };
    for (const auto& [before, after] : logouts) EXPECT_EQ(*withoutSite(before, "work"), after);
}

// Comments, blanks and line ends: each {} is a setting, which a logout takes out.
TEST(ConfigText, aPersonsOwnTextSurvives) {
    const auto own = [](std::string_view url, std::string_view password) {
        return fmt::format(
            "\xEF\xBB\xBF# my servers, \xC3\xBC\r\n  [ sites . \"wo.rk\" ] # at work\r\n{}# old\r\n"
            "# between\r\n{}# sealed\r\nx = [ 1, # y\r\n 2 "
            "]\r\n\r\n[sites.next]\r\nurl='https://b/'",
            url, password);
    };
    const std::string before = own("\turl = \"https://a/\xF0\x9F\x98\x80/\" ",
                                   "password = \"\"\"{zebsodium1}\\\r\n   old\"\"\" ");
    EXPECT_EQ(*withSite(before, {.name = "wo.rk", .url = "https://n/", .password = "{zeb}2"}),
              own("\turl = \"https://n/\" ", "password = \"{zeb}2\" "));
    EXPECT_EQ(*withoutSite(before, "wo.rk"), own("", ""));
}

TEST(ConfigText, whatCannotBeChangedSafelyIsExplained) {
    const char* hard[] = {
        "sites = {work = {x=1}}\n",              // nothing to put the settings behind
        "sites = {other = {url='https://h/'}}",  // takes no more tables
        "[sites]\nwork.url = 'https://h/'\n",    // its settings have no place of their own
        "sites = 1",
        "[sites]\nwork = 1\n",
    };
    const std::string alone =
        "It is written in a way that cannot be changed safely, so it was "
        "left alone.\n";
    for (const char* text : hard) {
        EXPECT_EQ(told(withSite(text, WORK).error()),
                  alone + "Put this into it yourself:\n" + TABLE);
    }
    for (const char* text :
         {"[sites]\nwork = {url='https://h/',x=1}\n", "sites = {work={url='https://h/'},b={}}\n"}) {
        EXPECT_EQ(told(withoutSite(text, "work").error()),
                  alone + "Take the table [sites.work] out of it yourself.\n");
    }
}

}  // namespace
}  // namespace quillon::cli
