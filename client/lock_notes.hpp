// Which members a person's processes have locked, and where the text is that the person was
// writing: what outlives a process that cannot give its locks back. A note is a file of its own,
// $XDG_STATE_HOME/quillon/locks/*, mode 0600, which is locked while its process lives.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon {

enum class LockKind : uint8_t {
    change,  // for the time of a change, which ends with its process
    kept,    // for the person, beyond the process that took it
};

struct LockNote {
    std::string url;             // the member's, without credentials
    std::string token;           // empty: nothing is locked, or its LOCK is not answered
    std::string owner;           // of a lock whose text no other has; empty: not known
    std::filesystem::path text;  // of the person's own; empty: there is none
    pid_t process = 0;           // that wrote the note
    LockKind kind = LockKind::change;
    std::optional<uint32_t> timeout{};  // seconds that were granted; nothing: no end, or not known
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
    bool isAlive = false;       // its process
    std::optional<Time> end{};  // of the lock, by what was granted last
};

// All notes, but for those of processes that are no more and that nothing is left of (no lock, and
// a text that is gone), which are removed. Fails when others could have put theirs there.
Result<std::vector<FoundNote>> findAllNotes();

// Adds those that were written since; of the others nothing is read.
void addNewNotes(std::vector<FoundNote>& known);
// As it is now; nothing where it is gone.
std::optional<FoundNote> lookAgain(const FoundNote& found);

// While it lives, the note is as one of a living process. Null: it is so already, or is gone.
std::shared_ptr<void> useNote(const FoundNote& found);

// The lock was renewed just now, for as long as it was granted.
void noteRenewed(const FoundNote& found);

// The lock is off, as its owner knows; without a text that is left the note goes.
void forgetLock(const FoundNote& found);

}  // namespace quillon
