// What is shown to people: names, sizes, dates, columns.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>

#include "cli/terminal/format.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/time.hpp"

namespace quillon::cli {
namespace {

TEST(Output, whatCouldMoveTheCursorIsWrittenOut) {
    prepareLocale();
    const std::pair<std::string, const char*> rows[] = {
        {"plain \xC3\xBC\xF0\x9F\x98\x80", "plain \xC3\xBC\xF0\x9F\x98\x80"},
        {"\x1B[2J\n\x7F\xC2\x9B", "\\x1B[2J\\x0A\\x7F\\xC2\\x9B"},
        {std::string("nul\0", 4), "nul\\x00"},
        {"a\xE2\x80\xAE z\xFF\xC3", "a\\xE2\\x80\\xAE z\\xFF\\xC3"},
    };
    for (const auto& [name, shown] : rows) EXPECT_EQ(harmless(name), shown);
    EXPECT_EQ(harmlessJson("\"\xC3\xBC\x7F\xC2\x9B\xE2\x80\xAE\xF0\x9F\xBF\xBF\""),
              "\"\xC3\xBC\\u007F\\u009B\\u202E\\uD83F\\uDFFF\"");
}

TEST(Output, columnsAreAlignedByWhatIsSeen) {
    prepareLocale();
    Table table({Align::right, Align::left, Align::left});
    table.add("1", "\xE6\x97\xA5\xE6\x9C\xAC", "a");  // two wide characters
    table.add("100", "u\xCC\x88x", "b");              // a combining one
    EXPECT_EQ(table.text(), "  1  \xE6\x97\xA5\xE6\x9C\xAC  a\n100  u\xCC\x88x    b\n");

    const std::vector<std::string> names{"a", "bb", "\xE6\x97\xA5", "d", "e"};
    EXPECT_EQ(inColumns(names, 10), "a   \xE6\x97\xA5  e\nbb  d\n");
    EXPECT_EQ(inColumns(names, 9), "a   d\nbb  e\n\xE6\x97\xA5\n");
    EXPECT_EQ(inColumns(names, 0), "a\nbb\n\xE6\x97\xA5\nd\ne\n");
}

TEST(Output, whatIsPastedIntoAShellIsOneWord) {
    const std::pair<const char*, const char*> rows[] = {
        {"https://h/a%20b", "https://h/a%20b"}, {"", "''"}, {"a;b's", "'a;b'\\''s'"}};
    for (const auto& [text, word] : rows) EXPECT_EQ(shellWord(text), word);
    for (const char* token : {"", "x y", "-x", "x{", "x\xC3\xBC", "x\"", "x`y`"})
        EXPECT_FALSE(tokenShowable(token)) << token;
    EXPECT_TRUE(tokenShowable("urn:uuid:a;b$(c)'"));
    for (const char* token : {"garbage", "x:", ":x", "a-b", "x y:z"})
        EXPECT_FALSE(isLockToken(token)) << token;
    for (const char* token : {"DAV:x", "1690000000", "e71d4fae-5dec-22d6-fea5-00a0c91e6be4"})
        EXPECT_TRUE(isLockToken(token)) << token;
}

TEST(Output, sizesAndDates) {
    const std::pair<uint64_t, const char*> rows[] = {
        {1023, "1023 B"},       {1024, "1.0 KiB"},          {1'048'524, "1023.9 KiB"},
        {1'048'525, "1.0 MiB"}, {5'000'000'000, "4.7 GiB"}, {UINT64_MAX, "16.0 EiB"}};
    for (const auto& [bytes, text] : rows) EXPECT_EQ(shortSize(bytes), text);
    EXPECT_EQ(shortSize({}) + longSize({}), "--");
    setenv("TZ", "UTC-2", 1);
    tzset();
    const Time time{std::chrono::milliseconds(1'700'000'000'250)};
    EXPECT_EQ(localDate(time), "2023-11-15 00:13");
    EXPECT_EQ(rfc3339(time), "2023-11-14T22:13:20.250Z");
    EXPECT_EQ(rfc3339(Time{std::chrono::milliseconds(-500)}), "1969-12-31T23:59:59.500Z");
    EXPECT_EQ(rfc3339(Time{std::chrono::seconds(-62'167'219'200)}), "0000-01-01T00:00:00Z");
    for (const double seconds : {-62'167'219'200.1, 253'402'300'800., 1e300, std::nan("")})
        EXPECT_FALSE(timeOf(seconds)) << seconds;
    EXPECT_EQ(rfc3339(*timeOf(253'402'300'799.)), "9999-12-31T23:59:59Z");
}

}  // namespace
}  // namespace quillon::cli
