#include "platform/journal.hpp"

#include <gtest/gtest.h>

#include <cstdarg>

#include "platform/status.hpp"
#include "platform/transcoder.hpp"

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
    EXPECT_EQ(status, produced < capacity ? vx::VX_SUCCESS : vx::VX_BUFFER_TOO_SMALL);
    EXPECT_EQ(buffer.find(U'\0'), status ? buffer.npos : produced);
    return status ? "too small" : vxhost::toUtf8(buffer.c_str());
}

TEST(journal, shows_placeholders_where_there_is_room) {
    const int64_t noMemory = static_cast<int32_t>(vx::VX_NO_MEMORY);
    EXPECT_EQ(inBuffer(50, U"rc=%X %X.", 0, noMemory, int64_t{0}), "rc=803FC002 00000000.");
    EXPECT_EQ(inBuffer(7, U"%d/%d", 0, int64_t{-1}, int64_t{207}), "-1/207");
    EXPECT_EQ(inBuffer(6, U"%d/%d", 0, int64_t{-1}, int64_t{207}), "too small");
    EXPECT_EQ(inBuffer(50, U"%P %P", 0, reinterpret_cast<void*>(0x7F00), nullptr), "0x7f00 0x0");
    EXPECT_EQ(inBuffer(50, U"'%s' %d", 7, U"\u00E4\U0001F600", int64_t{5}), "'\u00E4\U0001F600' 5");
    EXPECT_EQ(inBuffer(50, U"%s", 0, static_cast<const char32_t*>(nullptr)), "(null)");
    EXPECT_EQ(inBuffer(50, U"%q 100%%, 5%d%", 0, int64_t{7}), "%q 100%, 57%");
}

TEST(journal, keeps_and_tells_its_sentences) {
    std::string told;
    UserJournal journal([&](const vxhost::Sentence& sentence) { told += sentence.text + "|"; });
    va_list none{};
    journal.MessageToJournal(&journal, vx::JOURNAL_NOTE, U"Sentence.no longer", 9, none);
    const auto lost = static_cast<int32_t>(vx::QUILLON_FILE_LOST);
    journal.StatusToJournal(&journal, vx::JOURNAL_FAILURE, lost, none);
    vxhost::journalSentence(&journal, vx::JOURNAL_NOTE, "100 %s of \u00FC\xFF");
    vxhost::journalSentence(nullptr, vx::JOURNAL_NOTE, "nobody listens");
    EXPECT_EQ(told, "Sentence.|" + vxhost::statusText(vx::QUILLON_FILE_LOST) +
                        "|100 %s of \u00FC\uFFFD|");
    EXPECT_EQ(journal.take().at(1).severity, vx::JOURNAL_FAILURE);
    EXPECT_TRUE(journal.sentences().empty());
}

}  // namespace
