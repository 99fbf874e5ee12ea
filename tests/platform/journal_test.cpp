#include "platform/base/journal.hpp"

#include <gtest/gtest.h>

#include <cstdarg>

#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"

namespace {

using vxhost::UserJournal;

// What a buffer of that capacity then holds, or "too small".
std::string inBuffer(uint64_t capacity, const char32_t* text, uint64_t length, ...) {
    UserJournal journal;
    std::u32string buffer(capacity, U'-');
    uint64_t produced = 0;
    va_list arguments;
    va_start(arguments, length);
    const auto word = [](const void* address) { return reinterpret_cast<vx::Word>(address); };
    const vx::Status status = journal.MessageToBuffer(
        &journal, word(text), length, word(buffer.data()), capacity, word(&produced), arguments);
    va_end(arguments);
    EXPECT_EQ(buffer.find(U'\0'), status ? buffer.npos : produced);
    return status ? "too small" : vxhost::toUtf8(buffer.c_str());
}

TEST(journal, shows_placeholders_where_there_is_room) {
    const int64_t noMemory = static_cast<int32_t>(vx::VX_NO_MEMORY);
    EXPECT_EQ(inBuffer(50, U"rc=%X %q", 0, noMemory), "rc=803FC002 %q");
    EXPECT_EQ(inBuffer(7, U"%d/%d", 0, int64_t{-1}, int64_t{207}), "-1/207");
    EXPECT_EQ(inBuffer(6, U"%d/%d", 0, int64_t{-1}, int64_t{207}), "too small");
    EXPECT_EQ(inBuffer(50, U"%P %s%", 0, reinterpret_cast<void*>(0x7F00), nullptr),
              "0x7f00 (null)%");
    EXPECT_EQ(inBuffer(50, U"100%% '%s' %d", 10, U"\u00E4\U0001F600"), "100% '\u00E4\U0001F600'");
}

TEST(journal, takes_sentences_as_they_are_spelt) {
    UserJournal journal;
    vxhost::journalSentence(&journal, vx::JOURNAL_NOTE, "100 %s of \u00FC\xFF");
    vxhost::journalSentence(nullptr, vx::JOURNAL_NOTE, "nobody listens");
    EXPECT_EQ(journal.take().at(0).text, "100 %s of \u00FC\uFFFD");
}

}  // namespace
