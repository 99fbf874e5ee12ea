// What a server does for who writes to it, as it was seen to do it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/time.hpp"
#include "client/tree/replace.hpp"

namespace quillon {

// How a member gets the date of its file.
enum class DatesBy : uint8_t {
    none,       // it has that of its storing
    mtime,      // X-OC-Mtime in the PUT
    dateField,  // Date in the PUT
    property,   // Win32LastModifiedTime, set behind the PUT
};

struct ServerFacts {
    // Of the answers in which they were seen; others are of another server, or of another version.
    std::string server{}, dav{};
    std::string redirect{};  // where OPTIONS of the collection was sent on to; empty: nowhere
    Time learned{};

    bool probed = false;    // else all is unknown but for what OPTIONS says
    bool classTwo = false;  // as OPTIONS says
    bool locks = false;     // a LOCK keeps out who has not its token, and UNLOCK ends it

    // Conditions that do not hold are refused, and those that hold are not.
    bool putIfMatch = false, putTagInIf = false, putIfNoneMatch = false;
    bool deleteIfMatch = false, deleteTagInIf = false;
    // The same when they cease to hold while the body comes.
    bool ifMatchHolds = false, tagInIfHolds = false;
    bool replacesAtOnce = false;  // nobody sees half of a PUT

    bool tagsInProperties = false;  // those that GET tells
    bool weakTags = false;          // of what was just stored
    bool putTellsTag = false;
    bool tagsRepeat = false;   // two versions of the same second had one tag
    bool tagsDiffer = false;   // they had two, so that what was just stored is known by its own
    bool putTellsNew = false;  // 201 for a member that it made
    DatesBy dates = DatesBy::none;
    bool http2 = false;
    int64_t skewSeconds = 0;  // that its clock is ahead

    // Nothing: not asked for.
    std::optional<bool> depthInfinity{}, quota{};
};

// By which a member is replaced. Without locks, a condition alone is the best there is, though it
// may cease to hold while the body comes.
Guard guardOfReplacing(const ServerFacts& facts);
// By which a new member is made, if nobody else has made it meanwhile. A condition is enough where
// it is obeyed, though it may cease to hold while the body comes.
Guard guardOfMaking(const ServerFacts& facts);
// A DELETE has no body that takes its time.
Guard guardOfRemoving(const ServerFacts& facts);

// The header line of a PUT that gives the member its file's date; empty where none does.
std::string dateLine(DatesBy dates, Time modified);

// As it is kept, and back. What is read may be anybody's: nothing for what has not the form, or is
// about another collection.
std::string textOf(const ServerFacts& facts, std::string_view collection);
std::optional<ServerFacts> parseFacts(std::string_view text, std::string_view collection);

// A header's value as it is noted: printable, and not long.
std::string notedValue(std::string_view value);

}  // namespace quillon
