// What is shown to people: names, sizes, dates, columns.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "cli/format.hpp"
#include "cli/table.hpp"
#include "cli/terminal.hpp"

namespace quillon::cli {
namespace {

class Output : public testing::Test {
protected:
    Output() { prepareLocale(); }
};

TEST_F(Output, whatCouldMoveTheCursorIsWrittenOut) {
    const std::pair<std::string, const char*> rows[] = {
        {"plain name.txt", "plain name.txt"},
        {"\xC3\xBC\xF0\x9F\x98\x80", "\xC3\xBC\xF0\x9F\x98\x80"},
        {"\x1B[2J", "\\x1B[2J"},
        {"a\nb\rc\td", "a\\x0Ab\\x0Dc\\x09d"},
        {std::string("nul\0", 4), "nul\\x00"},
        {"\x7F\xC2\x9B", "\\x7F\\xC2\\x9B"},
        {"txt.\xE2\x80\xAE"
         "exe",
         "txt.\\xE2\\x80\\xAEexe"},
        {"\xFF\xC3", "\\xFF\\xC3"},
    };
    for (const auto& [name, shown] : rows) EXPECT_EQ(harmless(name), shown);
}

TEST_F(Output, columnsAreAlignedByWhatIsSeen) {
    Table table({Align::right, Align::left, Align::left});
    table.add("1", "\xE6\x97\xA5\xE6\x9C\xAC", "a");  // two wide characters
    table.add("100", "u\xCC\x88x", "b");              // a combining one
    EXPECT_EQ(table.text(),
              "  1  \xE6\x97\xA5\xE6\x9C\xAC  a\n"
              "100  u\xCC\x88x    b\n");
}

TEST_F(Output, namesRunDownAsManyColumnsAsFit) {
    const std::vector<std::string> names{"a", "bb", "\xE6\x97\xA5", "d", "e"};
    EXPECT_EQ(inColumns(names, 10), "a   \xE6\x97\xA5  e\nbb  d\n");
    EXPECT_EQ(inColumns(names, 9), "a   d\nbb  e\n\xE6\x97\xA5\n");
    EXPECT_EQ(inColumns(names, 0), "a\nbb\n\xE6\x97\xA5\nd\ne\n");
    EXPECT_EQ(inColumns({}, 80), "");
}

TEST_F(Output, sizes) {
    const std::pair<uint64_t, const char*> rows[] = {
        {0, "0 B"},
        {1023, "1023 B"},
        {1024, "1.0 KiB"},
        {1'048'524, "1023.9 KiB"},
        {1'048'525, "1.0 MiB"},
        {5'000'000'000, "4.7 GiB"},
        {UINT64_MAX, "16.0 EiB"},
    };
    for (const auto& [bytes, text] : rows) EXPECT_EQ(shortSize(bytes), text);
    EXPECT_EQ(longSize(2048), "2.0 KiB (2048 bytes)");
}

TEST_F(Output, dates) {
    setenv("TZ", "UTC-2", 1);
    tzset();
    const Time time{std::chrono::milliseconds(1'700'000'000'250)};
    EXPECT_EQ(localDate(time), "2023-11-15 00:13");
    EXPECT_EQ(localDate(std::nullopt), "-");
    EXPECT_EQ(rfc3339(time), "2023-11-14T22:13:20.250Z");
    EXPECT_EQ(rfc3339(Time{std::chrono::milliseconds(-500)}), "1969-12-31T23:59:59.500Z");
}

}  // namespace
}  // namespace quillon::cli
