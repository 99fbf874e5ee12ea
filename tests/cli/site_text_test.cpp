#include "cli/config/site_text.hpp"

#include <gtest/gtest.h>

namespace quillon::cli {
namespace {

const Site WORK{.name = "work",
                .url = "https://h/",
                .user = "\xC3\xBC \"a\" \\\x7F",
                .password = "{zeb}",
                .proxy = "p",
                .caFile = "#c",
                .timeoutSeconds = 86400,
                .jobs = 64,
                .tokenCommand = {std::string(100, 'x'), "\"a\", # b"},
                .headers = {"X-A: b"}};
const std::string TEXT =
    "url = \"https://h/\"\nuser = \"\xC3\xBC \\\"a\\\" \\\\\\u007F\"\npassword = \"{zeb}\"\n"
    "proxy = \"p\"\nca-file = \"#c\"\ntimeout = 86400\njobs = 64\n"
    "token-command = [\"" +
    std::string(100, 'x') + "\", \"\\\"a\\\", # b\"]\nheaders = [\"X-A: b\"]\n";

TEST(SiteText, whatIsWrittenIsReadAgain) {
    EXPECT_EQ(siteText(WORK), TEXT);
    EXPECT_EQ(siteText({.name = "work", .url = "https://h/"}), TEXT.substr(0, TEXT.find('u', 1)));
    const Result<Site> read = parseSite("work", TEXT + "mine = [1]\n");
    ASSERT_TRUE(read) << read.error().sentences.front();
    EXPECT_EQ(*read, WORK);
}

TEST(SiteText, whatIsWrongIsToldByLineAndKey) {
    const std::pair<const char*, const char*> rows[] = {
        {"\n\nurl = 5\n", "Line 3: url must be a text in quotes."},
        {"timeout = 0\n", "Line 1: timeout must be from 1 to 86400."},
        {"timeout = 4294967297\n", "Line 1: timeout must be from 1 to 86400."},
        {"jobs = 65\n", "Line 1: jobs must be from 1 to 64."},
        {"jobs = '4'\n", "Line 1: jobs must be a whole number."},
        {"url = 'ftp://h/'\n",
         "Line 1: url is none of a WebDAV server, which begins with https:// or"},
        {"url = 'https://u:geheim@h/'\n",
         "Line 1: url holds a password; take it out, then: quillon login work."},
        {"user = 'ann'\n", "It has no url."},
        {"url = \"\n", "Line 1: url must be a text in quotes, with nothing behind it."},
        {"jobs = 4\npassword = geheim\n", "Line 2: password must be a text in quotes, with"},
        {"timeout =\njobs = 1\n", "Line 1: timeout must be a whole number, with nothing"},
        {"password = 'geheim'\n", "Line 1: password stands there in clear; take it out, then: q"},
        {"insecure-basic = yes\n", "Line 1: insecure-basic must be true or false, with nothing"},
        {"jobs = 4\njobs = 5\n", "Line 2: jobs stands there twice."},
        {"job\n", "Line 1: it is none that sets a key"},
        {"auth = 'digest'\n", "Line 1: auth must be \"basic\", \"negotiate\" or \"ntlm\""},
        {"password-command = 'pass'\n", "Line 1: password-command must be a list of texts in"},
        {"user = 'a'\npassword-command = []\n", "Line 2: password-command must begin with a"},
        {"user = 'a'\npassword-command = ['x', 1]\n", "Line 2: password-command must be a list"},
        {"password-command = ['x']\n", "Line 1: password-command gives a password, and there is"},
        {"user = 'a'\npassword-command = ['x']\npassword = '{p}'\n",
         "Line 2: password-command stands beside password"},
        {"token-command = ['']\n", "Line 1: token-command must begin with a program"},
        {"token-file = 'f'\ntoken-command = ['x']\n", "Line 2: token-command stands beside"},
        {"auth = 'ntlm'\ntoken-file = 'f'\n", "Line 2: token-file gives a token, which auth"},
        {"user = ''\n", "Line 1: user is empty; leave it out"},
        {"user = 'geheim:x'\n", "Line 1: user must hold no colon; a password is given at the p"},
        {"key-password-command = ['x']\n", "Line 1: key-password-command gives the passphrase"},
        {"key = 'k'\n", "Line 1: key is that of a certificate, and there is no cert"},
        {"headers = ['A: b', 'geheim']\n", "Line 1: headers must hold headers, and number 2 is no"},
        {"headers = [\"A: geheim\\n\"]\n", "Line 1: headers must hold headers, and number 1 is A,"},
        {"headers = ['If: geheim']\n", "Line 1: headers must hold headers, and number 1 is If, w"},
        {"headers = ['A: ']\n", "Line 1: headers must hold headers, and number 1 is A, which has"},
        {"pin = 'sha256//'\n", "Line 1: pin must be \"sha256//\" and 44 characters"},
        {"proxy = 'http://ann:geheim@'\n", "Line 1: proxy cannot be read, or is of no kind"},
        {"proxy-auth = 'none'\n", "Line 1: proxy-auth must be \"basic\", \"digest\", \"ntlm\""},
    };
    for (const auto& [text, problem] : rows) {
        const std::string told = parseSite("work", text).error().sentences.front();
        EXPECT_TRUE(told.starts_with(problem)) << told;
        EXPECT_EQ(told.find("geheim"), told.npos) << told;
    }
}

TEST(SiteText, whatAPersonAddedIsSeen) {
    EXPECT_FALSE(holdsMore(""));
    EXPECT_FALSE(holdsMore(TEXT + " \t\n  jobs=3\t\r\nuser = 'a#b'"));
    for (const char* more : {"# mine\n", "jobs = 3 # mine", "jobs = 3 # mine\r\n", "mine = 1\n",
                             "[table]\n", "user = '''\n# x'''\n", "# \xFF\n"}) {
        EXPECT_TRUE(holdsMore(TEXT + more)) << more;
    }
}

}  // namespace
}  // namespace quillon::cli
