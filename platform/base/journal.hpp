// The user journal of the host: sentences for the person, kept in order.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/journal.h"

namespace vxhost {

struct Sentence {
    uint32_t severity;  // JOURNAL_NOTE, JOURNAL_FAILURE
    std::string text;   // UTF-8
};

// Handed to an operation by its address, so it stays where it is; one thread at a time.
class UserJournal : public vx::Journal {
public:
    UserJournal();
    UserJournal(const UserJournal&) = delete;
    UserJournal& operator=(const UserJournal&) = delete;

    void write(uint32_t severity, std::string text);
    const std::vector<Sentence>& sentences() const { return sentences_; }
    std::vector<Sentence> take();  // and begin anew

private:
    std::vector<Sentence> sentences_;
};

// Writes a UTF-8 sentence as it stands to any host's journal. A null journal: nothing happens.
void journalSentence(vx::Journal* journal, uint32_t severity, std::string_view text) noexcept;

}  // namespace vxhost
