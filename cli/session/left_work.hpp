// What processes of the person's own left behind when they were killed: texts and locks.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "client/lock_notes.hpp"

namespace quillon::cli {

// Any thread may use it. Each note is told of once.
class LeftWork {
public:
    void beginCommand();  // others may have left more since the last one

    void tell(const std::string& url);                    // of the member
    void tellAll();                                       // and of files in left caches
    void clearPlace(const std::filesystem::path& place);  // of what fetches into it left
    void markTold(const std::string& url);                // the person knows

    // The locks on that server that dead processes hold and that guard no text: for who gives them
    // back, the first time that it asks. Where there is a text, it and its lock are told. Neither
    // is done of members that the person knows of.
    std::vector<LockNote> takeLeftLocks(const std::string& origin);
    void untakeLeftLocks(const std::string& origin);  // another one has to give them back
    // Those that are of no living process, with a text or kept: on the resource or below it.
    std::vector<LockNote> findMine(const std::string& url);

    // Those that the person keeps on the resource, also while they are used.
    std::vector<FoundNote> findKept(const std::string& url);

    // Resources in the collection, at any depth, on which the person keeps some.
    std::vector<std::string> findKeptWithin(const std::string& collection);

    // Those of the lock with that token, also of processes that have begun since, as they are now.
    std::vector<FoundNote> findNotesOf(const std::string& url, const std::string& token);

    // What was noted of the member's lock is over: it was given back, or could not be there any
    // more since another one was granted.
    void noteLockOff(const std::string& url, std::string_view token);
    void noteLockTaken(const std::string& url);
    void noteRenewed(const std::string& url, std::string_view token);

private:
    // All that there are, also of living processes. They are read when a command first asks for
    // them, as by its first request; left caches that hold no work are removed before, once. The
    // caller has locked the mutex.
    std::vector<FoundNote>& notes();

    std::mutex mutex_;  // guards what follows
    std::optional<std::vector<FoundNote>> notes_;
    bool areCachesClear_ = false;
    std::vector<std::filesystem::path> files_;  // that no note names, and that may be work
    std::set<std::string> told_;                // the URLs of members whose notes the person knows
    std::set<std::filesystem::path> cleared_;
    std::set<std::string> takenOrigins_;
};

// Whether the note is of that lock.
bool isNoteOf(const LockNote& note, const std::string& url, const std::string& token);

}  // namespace quillon::cli
