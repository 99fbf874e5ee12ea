// What outlives a process that cannot give its locks back: which member it locked, and where the
// text is that a person was writing. A note is a file of its own, $XDG_STATE_HOME/quillon/locks/*,
// mode 0600.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "client/result.hpp"

namespace quillon {

struct LockNote {
    std::string url;             // the member's, without credentials
    std::string token;           // empty: nothing is locked
    std::filesystem::path text;  // of the person's own; empty: there is none
    pid_t process = 0;           // that wrote the note
};

// A note of this process, which stays when the process is killed.
class WrittenNote {
public:
    static Result<WrittenNote> write(const LockNote& note);

    WrittenNote(WrittenNote&&) noexcept;
    WrittenNote& operator=(WrittenNote&&) = delete;
    ~WrittenNote();  // removes it

    void leave();      // for others to find after this process
    void leaveText();  // the same, of the text alone: the lock is off

private:
    struct File;
    explicit WrittenNote(std::unique_ptr<File> file);
    std::unique_ptr<File> file_;  // null: moved from, or left
};

struct FoundNote {
    LockNote note;
    std::filesystem::path file;
};

// The notes of processes that are no more, but for those that nothing is left of (no lock, and a
// text that is gone), which are removed. Fails when others could have put theirs there.
Result<std::vector<FoundNote>> findLeftNotes();

// The lock is off, as its owner knows; without a text that is left the note goes.
void forgetLock(const FoundNote& found);

}  // namespace quillon
