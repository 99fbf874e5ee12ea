#include "platform/base/transcoder.hpp"

#include <gtest/gtest.h>

#include "platform/base/status.hpp"

namespace {

using namespace vxhost;
using namespace std::string_literals;

// Also that a failure produces nothing.
vx::Status transcode(vx::Transcoder& transcoder, std::string_view source, uint64_t capacity) {
    std::string room(capacity, '\0');
    uint64_t produced = 99;
    const vx::Status status = transcoder.Transcode(&transcoder, source.data(), source.size(),
                                                   room.data(), capacity, &produced, 0);
    EXPECT_EQ(produced, status == vx::VX_SUCCESS ? capacity : 0);
    return status;
}

std::string bytesOf(std::u32string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t)};
}

void expectExactRoom(vx::Transcoder& transcoder, const std::string& from, uint64_t needed) {
    for (uint64_t room = 0; room < needed; ++room)
        EXPECT_EQ(transcode(transcoder, from, room), vx::VX_BUFFER_TOO_SMALL);
    EXPECT_EQ(transcode(transcoder, from, needed), vx::VX_SUCCESS);
}

TEST(transcoder, both_ways_in_room_that_suffices) {
    const std::pair<std::string, std::u32string> rows[] = {
        {"", U""},
        {"a\0b"s, U"a\0b"s},
        {"\x7F\xC2\x80\xED\x9F\xBF\xEE\x80\x80", U"\x7F\x80\uD7FF\uE000"},
        {"\xEF\xBB\xBFx\xF4\x8F\xBF\xBF", U"\uFEFFx\U0010FFFF"},
    };
    for (const auto& [utf8, utf32] : rows) {
        EXPECT_EQ(toUtf32(utf8), utf32);
        EXPECT_EQ(toUtf8(utf32), utf8);
        expectExactRoom(utf8ToUtf32(), utf8, utf32.size() * sizeof(char32_t));
        expectExactRoom(utf32ToUtf8(), bytesOf(utf32), utf8.size());
    }
}

TEST(transcoder, malformed_texts_are_refused) {
    for (const char* text : {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "a\xE2\x82"}) {
        EXPECT_EQ(transcode(utf8ToUtf32(), text, 64), TRANSCODE_INVALID) << text;
        EXPECT_THROW(toUtf32(text), Failure);
    }
    for (const char32_t unit : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        const std::u32string text{U'a', unit};
        EXPECT_EQ(transcode(utf32ToUtf8(), bytesOf(text), 64), TRANSCODE_INVALID);
        EXPECT_EQ(shownUtf8(text), "a\xEF\xBF\xBD");
    }
    const std::string bytes = bytesOf(U"ab");  // of which a view cuts the second character
    EXPECT_EQ(transcode(utf32ToUtf8(), {bytes.data(), 5}, 1), TRANSCODE_INVALID);
    EXPECT_EQ(transcode(utf8ToUtf32(), {nullptr, 3}, 64), TRANSCODE_INVALID);
    EXPECT_EQ(shownUtf32("a\xC3z"), U"a\uFFFDz");
}

}  // namespace
