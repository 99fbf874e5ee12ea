// Contents that go from one server to another, without a local file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/change.hpp"
#include "client/remote/content.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"

namespace quillon {

// A member as it was copied.
struct CopiedMember {
    std::string from, to;
    Version version;    // of the source
    uint64_t size = 0;  // in bytes
    std::string hash;
    bool replaced = false;  // a member that was there
};

enum class Parent : bool { existing, madeNow };

class Between {
public:
    // source: nobody else uses it while a member is copied, by a thread of its own.
    Between(Remote& source, Remote& destination, Overwrite overwrite)
        : source_(source), destination_(destination), overwrite_(overwrite) {}

    // size: that the source told otherwise, in bytes. Where the collection above was made for it,
    // nobody's member is in the way.
    Result<CopiedMember> copy(std::string from, std::optional<uint64_t> size, std::string to,
                              Parent parent);

    // Whether the destination has now what was copied.
    Result<void> verify(const CopiedMember& copied);

    // Removes the source if it is still what was copied; else Kind::changedOnServer.
    struct Removed {
        bool isGuarded = true;  // false: a change at the very last could not have been noticed
    };
    Result<Removed> removeSource(const CopiedMember& copied);

    // The source's collection, if nothing is in it.
    Result<void> removeEmptied(const std::string& url);

private:
    Result<std::string> hashOf(Remote& remote, const std::string& url, uint64_t size);
    Result<void> requireUntouched(const CopiedMember& copied);
    Result<void> requireSameContent(const CopiedMember& copied);
    Result<Removed> removeUnderLock(const CopiedMember& copied);

    Remote& source_;
    Remote& destination_;
    const Overwrite overwrite_;
};

// What is in the way.
Error takenAlready();

// The member that will go for the new one; nothing where none is there. A collection is always in
// the way, since all that is in it would go.
Result<std::optional<Resource>> lookBefore(Remote& destination, const std::string& to,
                                           Overwrite overwrite);

}  // namespace quillon
