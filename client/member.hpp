// A member of an open collection, and its local copy.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/found_lock.hpp"
#include "client/local_file.hpp"
#include "client/purpose.hpp"
#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon {

class PartFile;

struct Properties {
    bool exists = false;  // when not, the rest says nothing but what the server allows there
    bool isCollection = false;
    bool canLock = false;
    std::optional<uint64_t> size;  // in bytes; nothing when not known, and of a collection
    std::optional<Time> created;
    std::optional<Time> modified;
    std::string displayName;                // empty: the server gives none of its own
    std::vector<std::string_view> methods;  // that the server allows, by their HTTP names
};

struct Fetched {
    std::filesystem::path file;    // in the cache: goes with the member
    std::optional<Time> modified;  // as the server says
    bool endProven = true;         // false: nothing shows whether all of the content came
};

struct StoreOptions {
    bool onlyNew = false;      // fail with changedOnServer when the member exists by then
    bool ifUnchanged = false;  // fail with changedOnServer when it is not what was fetched, as far
                               // as the server's entity tags, sizes and dates tell
};

// What protects a member between its lock and its store.
enum class Protection : uint8_t {
    lock,      // nobody else can write
    dateCheck  // this server has no locks: a change by somebody else is noticed at the store
};

class Member {
public:
    Member(Member&&) noexcept;
    Member& operator=(Member&& other) noexcept;  // the old one lives until other goes
    ~Member();                                   // gives back a held lock, as well as can be done

    std::string url() const;
    bool exists() const;  // as last heard

    Result<Properties> info();
    // What the server allows there, as last heard; asks nothing, and what it is is left open.
    Properties allowed() const;
    std::optional<Properties> lastInfo() const;  // what info and lock read last; asks nothing

    // The entity tag of what was seen, fetched or stored last, as a condition carries it. Empty:
    // none is known, or it proves nothing.
    std::string latestTag() const;

    // The local copy: fetch makes it, store sends it. It may be written to at any time.
    const std::filesystem::path& file() const;
    Result<Fetched> fetch();
    // Fetches and moves the copy to a path, as putInPlace has it; one rename when the collection's
    // cache is on the same file system.
    // resumes: what came stays beside the destination when the fetch breaks off, and the next one
    // goes on behind it (part_file.hpp); the error then says so.
    // mayPlace: asked when all has come; its error leaves the destination as it is.
    Result<Fetched> fetchTo(const std::filesystem::path& destination,
                            Naming naming = Naming::byPerson, bool resumes = false,
                            const std::function<Result<void>()>& mayPlace = {});
    Result<void> store(const StoreOptions& options = {});
    // Makes another local file the one that store sends; it must stay until then. It is not copied
    // but for what is no regular file, which is read to its end now.
    Result<void> copyFrom(const std::filesystem::path& source);

    // Nobody else may hold one beside it; one of the person's own that is known (as
    // ExtensionOptions::ownLocks has it) serves, and stays on the server whatever becomes of this.
    // next: Purpose::fetch when the content is fetched then.
    Result<Protection> lock(Purpose next = Purpose::change);
    // Of the lock() before: what the member is under it was asked for, and not answered in time.
    std::optional<Error> lookTimedOut();
    // No lock: notes the member's date, so that a store refuses to overwrite a later change.
    Result<void> noteDate();
    Result<void> unlock();  // nothing happens without a lock
    // For who does nothing for long: to be called now and then, it asks the server for more time
    // when a held lock is near its end. A failure shows when the lock is needed.
    void renewLock();
    bool locked() const;
    std::string lockToken() const;  // empty: no lock is held
    // In seconds, as they were granted last; nothing: the lock has no end, or none that is known.
    std::optional<uint32_t> lockTimeout() const;
    // Takes over a lock that is on the server already, by its token ("opaquelocktoken:...").
    Result<void> adoptLock(std::string_view token);
    // Leaves the lock on the server: the destructor will not give it back.
    void abandonLock();

    // Works under the person's own lock, where one is known, and takes none. Gives whether it does.
    Result<bool> useOwnLock();
    bool usesOwnLock() const;
    Result<void> giveBackOwnLock();  // the one that is used

    // Who holds it, or all that is in a collection above; nothing where the server does not tell.
    Result<std::optional<std::vector<FoundLock>>> findLocks();

    // Refused when the member was created later than the time, and for a collection, which
    // removeCollection is for.
    Result<void> remove(std::optional<Time> olderThan = {});
    // The new name as a person says it. Never overwrites. Afterwards this still names the old one.
    Result<void> rename(std::string_view newName, std::optional<Time> olderThan = {});

    struct State;
    explicit Member(std::unique_ptr<State> state);

private:
    void keepPart(const PartFile& part, const std::string& tag, Error& error) const;
    std::unique_ptr<State> state_;
};

}  // namespace quillon
