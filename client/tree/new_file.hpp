// A file of a local folder while it is written: nobody sees a part of it under its name.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "client/result.hpp"
#include "client/time.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/base/descriptor.hpp"
#include "platform/files/content_hash.hpp"

namespace quillon {

// What is certain to be on the disk when a file is placed. Not by default: of many small files it
// takes most of the time. After a power cut a replaced file may be empty then; its content is on
// the server, and the next run, which sees the size, fetches it again.
enum class Durability : bool { none, content };

// What becomes of a file that was replaced or removed: it has the hidden name in its folder, and is
// the version that was seen. Without one it is deleted.
using OldFileTaker =
    std::function<Result<void>(const vxhost::Descriptor& folder, const std::string& hidden)>;

// Without a name until it is placed; where the file system has no such files, hidden beside its
// place, with mode 0600. It goes at the end of its scope unless it was placed.
class NewFile {
public:
    // Only of a folder's descriptor, which LocalFolder::makeFile() opens. shown: the path for
    // people.
    static Result<NewFile> make(vxhost::Descriptor folder, std::string name, std::string shown);

    NewFile(NewFile&& other) noexcept;
    NewFile& operator=(NewFile&&) = delete;
    ~NewFile();

    Result<void> write(std::string_view piece);
    Result<void> restart();  // what was written is worth nothing
    // Of what was written; empty when it was left.
    std::string hash() const { return hash_ ? hash_->hex() : std::string(); }
    void leaveHash() { hash_.reset(); }      // until it is restarted
    Result<std::string> readHash();          // of what was written, which is read for it
    uint64_t size() const { return size_; }  // in bytes
    // The hidden name in its folder that it has, or is going to have, until it is placed.
    const std::string& hiddenName();
    Result<std::string> hide();  // gives it that name, for its owner alone
    const vxhost::Descriptor& descriptor() const { return file_; }

    // Gives it its name, the date and the permissions of the file that it replaces, or those that
    // the umask leaves. seen: what was there when the decision was made, nothing for nothing. What
    // is there now and is another version, or is no regular file, stays as it is:
    // Kind::changedHere, Kind::local. What is returned is the file as it is in its place. Where the
    // old one cannot be taken the new one is in its place all the same, and the old one hidden.
    Result<LocalEntry> place(std::optional<Time> modified, const std::optional<LocalEntry>& seen,
                             Durability durability = Durability::none,
                             const OldFileTaker& takeOld = {});

private:
    NewFile(vxhost::Descriptor folder, std::string name, std::string shown);
    vxhost::Descriptor open();
    void setMode(mode_t mode);
    bool takeHiddenName();                   // false: somebody has it
    bool takeName(const std::string& name);  // false: somebody has it
    Result<void> replace(const LocalEntry& seen, const OldFileTaker& takeOld);
    Result<void> replaceByRemoval(const LocalEntry& seen, const OldFileTaker& takeOld);

    std::optional<vxhost::ContentHash> hash_{
        std::in_place};  // is aligned widely: first, it leaves no gap
    uint64_t size_ = 0;
    vxhost::Descriptor folder_;
    std::string name_, shown_;
    std::string hidden_;   // its name so far; empty: there is none, or it is placed
    std::string planned_;  // the one that it gets
    vxhost::Descriptor file_;
};

// How a file goes: under a hidden name, which nobody writes anew between the look and the removal.
struct Removal {
    std::string hidden{};  // that name; empty: a new one
    OldFileTaker takeOld{};
};
std::string newHiddenName();

// Removes what was seen, and no other version of it. name: in the folder.
Result<void> removeSeen(const vxhost::Descriptor& folder, const std::string& name,
                        const std::string& shown, const LocalEntry& seen, const Removal& removal);

}  // namespace quillon
