#include "client/facts/server_facts.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

TEST(ServerFacts, chooseTheGuard) {
    const ServerFacts locking{.probed = true, .locks = true};
    ServerFacts lighttpd = locking, apache = locking, lockless, byIf = locking, promised;
    lighttpd.putIfMatch = lighttpd.ifMatchHolds = lighttpd.deleteIfMatch = true;
    apache.putIfMatch = apache.putTagInIf = apache.deleteTagInIf = apache.weakTags = true;
    byIf.putTagInIf = byIf.tagInIfHolds = true;
    lockless = apache;
    lockless.locks = false;
    promised.classTwo = true;
    const struct {
        const char* name;
        ServerFacts facts;
        Guard replacing, removing;
    } rows[] = {
        {"looks again", lighttpd, Guard::condition, Guard::condition},
        {"looks again in If", byIf, Guard::conditionInIf, Guard::lock},
        {"looks once", apache, Guard::lock, Guard::conditionInIf},
        {"looks once, no locks", lockless, Guard::conditionInIf, Guard::conditionInIf},
        {"obeys nothing", locking, Guard::lockAndLook, Guard::lock},
        {"does nothing", {.probed = true}, Guard::look, Guard::look},
        {"refused the scratch member", promised, Guard::lockAndLook, Guard::lock},
        {"the same, no locks", {}, Guard::look, Guard::look},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(guardOfReplacing(row.facts), row.replacing) << row.name;
        EXPECT_EQ(guardOfRemoving(row.facts), row.removing) << row.name;
    }
}

TEST(ServerFacts, areKeptAsText) {
    const std::string url = "http://a/b/";
    ServerFacts facts{.server = notedValue("x\x1b\n/1"), .dav = "1,2", .probed = true};
    facts.learned = Time(std::chrono::seconds(1'700'000'000));
    facts.dates = DatesBy::dateField;
    facts.skewSeconds = -3;
    facts.quota = false;
    const std::string text = textOf(facts, url);
    const auto read = parseFacts(text, url);
    ASSERT_TRUE(read);
    EXPECT_EQ(textOf(*read, url), text);
    EXPECT_EQ(read->dates, DatesBy::dateField);
    EXPECT_EQ(dateLine(read->dates, read->learned), "Date: Tue, 14 Nov 2023 22:13:20 GMT");
    EXPECT_FALSE(parseFacts(text, "http://a/"));
    EXPECT_FALSE(parseFacts(text + text, url));
    for (size_t at = 0; at < text.size(); ++at) EXPECT_FALSE(parseFacts(text.substr(0, at), url));
    const std::pair<std::string, std::string> spoilt[] = {
        {"probed yes", "probed maybe"}, {"probed yes", "probed unknown"},
        {"dates Date", "dates Today"},  {"skew -3", "skew much"},
        {"server x", "server \x1b"},    {"dav 1,2", "dav " + std::string(600, '1')},
    };
    for (const auto& [right, wrong] : spoilt) {
        std::string bad = text;
        ASSERT_NE(bad.find(right), bad.npos);
        EXPECT_FALSE(parseFacts(bad.replace(bad.find(right), right.size(), wrong), url)) << wrong;
    }
}

}  // namespace
}  // namespace quillon
