// Where a local file came from, or was stored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/time.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/base/descriptor.hpp"

namespace quillon {

struct FileNote {
    std::string url;                 // without user, password and query
    std::string tag;                 // as a condition carries it; empty: not known
    std::optional<Time> serverDate;  // of the last change there
    std::string hash;                // ContentHash, in hexadecimal digits; empty: not known
    uint64_t size = 0;               // of the file, in bytes
    int64_t modifiedNs = 0;          // the file's own, since 1970

    bool operator==(const FileNote&) const = default;
};

bool isValid(const FileNote& note);  // whether it can be kept

// As it is kept, and back. Others can write where it is kept: nothing for what has not the form.
std::string textOf(const FileNote& note);
std::optional<FileNote> parseNote(std::string_view text);

// Whether the file is surely as it was noted; if not, its hash decides.
bool isUnchanged(const FileNote& note, const LocalEntry& file);

// Whether two tags, as conditions carry them, are of one version. Apache's lose the W/ with time.
bool isSameTag(std::string_view a, std::string_view b);

// Above it no hash is made of a file whose tag is known: another tag alone tells then that the
// content is another one.
inline constexpr uint64_t worthHashing = uint64_t{64} << 20;  // bytes
// Of what is larger the server is asked which version a store made, where it did not tell: to fetch
// it again one day, only to compare it, costs more.
inline constexpr uint64_t worthLooking = uint64_t{1} << 20;  // bytes

// ContentHash of all of a file. Throws a Failure.
std::string hashFile(const vxhost::Descriptor& file, const std::string& shown);

}  // namespace quillon
