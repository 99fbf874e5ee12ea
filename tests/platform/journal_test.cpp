#include "platform/journal.hpp"

#include <gtest/gtest.h>

#include <cstdarg>

#include "host/status.h"
#include "platform/render.hpp"
#include "platform/status.hpp"

namespace {

using vxhost::UserJournal;

std::string rendered(std::u32string_view text, ...) {
    va_list arguments;
    va_start(arguments, text);
    std::string line = vxhost::renderTemplate(text, arguments);
    va_end(arguments);
    return line;
}

TEST(render, placeholders) {
    const int64_t noMemory = static_cast<int32_t>(vx::VX_NO_MEMORY);
    EXPECT_EQ(rendered(U"rc=%X %X.", noMemory, int64_t{0}), "rc=803FC002 00000000.");
    EXPECT_EQ(rendered(U"%d/%d", int64_t{-1}, int64_t{207}), "-1/207");
    EXPECT_EQ(rendered(U"%P %P", reinterpret_cast<void*>(0x7F00), nullptr), "0x7f00 0x0");
    EXPECT_EQ(rendered(U"'%s' %d", U"\u00E4\U0001F600", int64_t{5}), "'\u00E4\U0001F600' 5");
    EXPECT_EQ(rendered(U"%s", static_cast<const char32_t*>(nullptr)), "(null)");
    EXPECT_EQ(rendered(U"%q 100%%, 5%d%", int64_t{7}), "%q 100%, 57%");
}

void toJournal(UserJournal& journal, uint32_t severity, const char32_t* text, uint64_t length,
               ...) {
    va_list arguments;
    va_start(arguments, length);
    journal.MessageToJournal(&journal, severity, text, length, arguments);
    va_end(arguments);
}

vx::Status toBuffer(UserJournal& journal, char32_t* buffer, uint64_t capacity, uint64_t& produced,
                    const char32_t* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const auto word = [](const void* address) { return reinterpret_cast<vx::Word>(address); };
    const vx::Status status = journal.MessageToBuffer(&journal, word(text), 0, word(buffer),
                                                      capacity, word(&produced), arguments);
    va_end(arguments);
    return status;
}

TEST(journal, keeps_and_tells_its_sentences) {
    std::string told;
    UserJournal journal([&](const vxhost::Sentence& sentence) { told += sentence.text + "|"; });
    va_list none{};
    toJournal(journal, vx::JOURNAL_NOTE, U"LOCK status = %d", 0, int64_t{201});
    toJournal(journal, vx::JOURNAL_FAILURE, U"Sentence.no longer", 9);
    journal.StatusToJournal(&journal, vx::JOURNAL_FAILURE,
                            static_cast<int32_t>(vx::QUILLON_FILE_LOST), none);
    vxhost::journalSentence(&journal, vx::JOURNAL_NOTE, "100 %s of \u00FC\xFF");
    vxhost::journalSentence(nullptr, vx::JOURNAL_NOTE, "nobody listens");

    const std::string lost = vxhost::statusText(vx::QUILLON_FILE_LOST);
    EXPECT_EQ(told, "LOCK status = 201|Sentence.|" + lost + "|100 %s of \u00FC\uFFFD|");
    const auto taken = journal.take();
    ASSERT_EQ(taken.size(), 4u);
    EXPECT_EQ(taken[0].severity, vx::JOURNAL_NOTE);
    EXPECT_EQ(taken[2].severity, vx::JOURNAL_FAILURE);
    EXPECT_TRUE(journal.sentences().empty());
}

TEST(journal, buffer_holds_the_text_and_its_end) {
    UserJournal journal;
    char32_t buffer[8] = {};
    uint64_t produced = 0;
    EXPECT_EQ(toBuffer(journal, buffer, 7, produced, U"n = %d", int64_t{42}), 0u);
    EXPECT_EQ(produced, 6u);
    EXPECT_EQ(std::u32string_view(buffer), U"n = 42");
    buffer[0] = U'-';
    EXPECT_EQ(toBuffer(journal, buffer, 6, produced, U"n = %d", int64_t{42}),
              vx::VX_BUFFER_TOO_SMALL);
    EXPECT_EQ(produced, 6u);
    EXPECT_EQ(buffer[0], U'-');
}

}  // namespace
