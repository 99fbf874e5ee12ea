#include "platform/text/date.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

#include "platform/base/transcoder.hpp"

using vxhost::parseDate;

namespace {

constexpr auto NOW = std::chrono::sys_days{std::chrono::year{2026} / 11 / 24};
constexpr double EXAMPLE = 784111777;  // the date of RFC 9110, 5.6.7

const std::pair<std::u32string_view, double> dates[] = {
    // HTTP's three, and what servers make of them.
    {U"Sun, 06 Nov 1994 08:49:37 GMT", EXAMPLE},
    {U"Sunday, 06-Nov-94 08:49:37 GMT", EXAMPLE},
    {U"Sun Nov  6 08:49:37 1994", EXAMPLE},
    {U"Sun, 6 Nov 1994 08:49:38 UTC", EXAMPLE + 1},
    {U"Sun, 06 Nov 1994 08:49:37 -0130", EXAMPLE + 5400},
    {U"Tue, 29 Feb 2000 00:00:00 GMT", 951782400},
    // Years of two digits lie at most fifty years ahead.
    {U"Tuesday, 24-Nov-76 00:00:00 GMT", 3373401600},
    {U"Wednesday, 24-Nov-77 00:00:00 GMT", 249177600},
    // RFC 3339.
    {U"1994-11-06T08:49:37Z", EXAMPLE},
    {U"1994-11-06t08:49:37z", EXAMPLE},
    {U"1994-11-06 09:49:37.25+01:00", EXAMPLE + 0.25},
    {U"1994-11-06T00:19:37-0830", EXAMPLE},
    {U"1990-12-31T23:59:60Z", 662688000},
    {U"1969-12-31T23:59:59.5Z", -0.5},
};

// Between bars.
constexpr char malformed[] =
    "Thu, 29 Feb 1900 00:00:00 GMT|Sun, 06 Nov 1994 08:49:37 CET|Sun, 06 Nov 1994 08:49:37 GMT.|"
    "Sun, 06 Nov 94 08:49:37 GMT|Sun, 06-Nov 1994 08:49:37 GMT|Son, 06 Nov 1994 08:49:37 GMT|"
    "Sun, 06 Nev 1994 08:49:37 GMT|Sun, 06 Nov 1994 8:49:37 GMT|1994-11-06T08:49:37.Z|"
    "1994-11-06T24:00:00Z|1994-11-06T08:60:00Z|1994-11-06T08:49:61Z|1994-13-01T08:49:37Z|"
    "1994-11-06T08:49:37+24:00| 1994-11-06T08:49:37Z|\u01311994-11-06T08:49:37Z|"
    "1994-11-06T08:49:37.0000000000000000000000000000000000000000000000000000Z";

}  // namespace

TEST(Date, isReadWholeOrNotAtAll) {
    for (const auto& [text, expected] : dates) {
        EXPECT_EQ(parseDate(text, NOW), expected) << std::string(text.begin(), text.end());
        for (size_t length = 0; length < text.size() && expected == EXAMPLE; ++length)
            EXPECT_EQ(parseDate(text.substr(0, length), NOW), std::nullopt) << length;
    }
    std::istringstream texts(malformed);
    for (std::string text; std::getline(texts, text, '|');)
        EXPECT_EQ(parseDate(vxhost::toUtf32(text), NOW), std::nullopt) << text;
}
