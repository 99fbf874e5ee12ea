#include "platform/transcoder.hpp"

#include <gtest/gtest.h>

#include "platform/status.hpp"

namespace {

using namespace vxhost;
using namespace std::string_literals;

struct Pair {
    std::string utf8;
    std::u32string utf32;
};

TEST(transcoder, both_ways) {
    const Pair rows[] = {
        {"", U""},
        {"a\0b"s, std::u32string(U"a\0b", 3)},
        {"\x7F", U"\x7F"},
        {"\xC2\x80", U"\x80"},
        {"\xDF\xBF", U"\u07FF"},
        {"\xE0\xA0\x80", U"\u0800"},
        {"\xED\x9F\xBF", U"\uD7FF"},
        {"\xEE\x80\x80", U"\uE000"},
        {"\xEF\xBB\xBFx", U"\uFEFFx"},
        {"\xEF\xBF\xBF", U"\uFFFF"},
        {"\xF0\x90\x80\x80", U"\U00010000"},
        {"\xF4\x8F\xBF\xBF", U"\U0010FFFF"},
    };
    for (const Pair& row : rows) {
        EXPECT_EQ(toUtf32(row.utf8), row.utf32);
        EXPECT_EQ(toUtf8(row.utf32), row.utf8);
    }
}

vx::Status transcode(vx::Transcoder& transcoder, std::string_view source, uint64_t capacity,
                     uint64_t& produced) {
    std::string room(capacity, '\0');
    produced = 99;
    return transcoder.Transcode(&transcoder, source.data(), source.size(), room.data(), capacity,
                                &produced, 0);
}

TEST(transcoder, malformed_utf8_is_refused) {
    const std::string rows[] = {
        "\x80",              // continuation first
        "a\xBF",             // the same after a character
        "\xC0\xAF",          // overlong, 2 bytes
        "\xC1\xBF",          //
        "\xE0\x80\xAF",      // 3 bytes
        "\xE0\x9F\xBF",      //
        "\xF0\x80\x80\xAF",  // 4 bytes
        "\xF0\x8F\xBF\xBF",  //
        "\xED\xA0\x80",      // surrogates
        "\xED\xBF\xBF",      //
        "\xF4\x90\x80\x80",  // beyond U+10FFFF
        "\xF5\x80\x80\x80",
        "\xF8\x88\x80\x80\x80",
        "\xFE",
        "\xFF",
        "\xC3",           // truncated
        "\xE2\x82",       //
        "\xF0\x9F\x98",   //
        "\xC3x",          // cut off by a character
        "\xE2\x82x",      //
        "\xF0\x9F\x98x",  //
    };
    for (const std::string& row : rows) {
        uint64_t produced = 0;
        EXPECT_EQ(transcode(utf8ToUtf32(), row, 64, produced), TRANSCODE_INVALID) << row;
        EXPECT_EQ(produced, 0u);
        EXPECT_THROW(toUtf32(row), Failure);
    }
}

TEST(transcoder, malformed_utf32_is_refused) {
    for (const char32_t unit : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        const std::u32string text{U'a', unit};
        const std::string bytes(reinterpret_cast<const char*>(text.data()), 8);
        uint64_t produced = 0;
        EXPECT_EQ(transcode(utf32ToUtf8(), bytes, 64, produced), TRANSCODE_INVALID);
        EXPECT_EQ(transcode(utf32ToUtf8(), bytes.substr(0, 5), 64, produced), TRANSCODE_INVALID);
        EXPECT_EQ(produced, 0u);
        EXPECT_EQ(shownUtf8(text), "a\xEF\xBF\xBD");
    }
    EXPECT_EQ(shownUtf32("a\xC3z"), U"a\uFFFDz");
}

TEST(transcoder, room_is_never_exceeded) {
    const std::string utf8 = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const std::u32string utf32 = toUtf32(utf8);
    const std::string wideBytes(reinterpret_cast<const char*>(utf32.data()), utf32.size() * 4);
    uint64_t produced = 0;
    for (uint64_t room = 0; room <= wideBytes.size(); ++room) {
        const bool fits = room >= wideBytes.size();
        EXPECT_EQ(transcode(utf8ToUtf32(), utf8, room, produced),
                  fits ? vx::VX_SUCCESS : vx::VX_BUFFER_TOO_SMALL);
        EXPECT_EQ(produced, fits ? wideBytes.size() : 0);
    }
    for (uint64_t room = 0; room <= utf8.size(); ++room) {
        const bool fits = room >= utf8.size();
        EXPECT_EQ(transcode(utf32ToUtf8(), wideBytes, room, produced),
                  fits ? vx::VX_SUCCESS : vx::VX_BUFFER_TOO_SMALL);
    }
    EXPECT_EQ(utf8ToUtf32().Transcode(&utf8ToUtf32(), nullptr, 0, nullptr, 0, &produced, 0), 0u);
    EXPECT_EQ(produced, 0u);
}

}  // namespace
