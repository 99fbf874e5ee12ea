// What is to be done with one path of a tree that is on two sides. No I/O.
#pragma once

#include <cstdint>
#include <optional>

#include "client/memory/file_note.hpp"
#include "client/remote/resource.hpp"
#include "client/tree/local_entry.hpp"

namespace quillon {

enum class Step : uint8_t {
    none,            // both sides are the same
    transfer,        // what the other side has goes here, or there
    compareContent,  // only the content tells whether the side to be replaced has changed
    keep,            // the side to be replaced was changed since, or both were: nothing is lost
    clash            // one is a folder, the other a file
};

struct CompareOptions {
    bool all = false;       // what is the same is transferred, too
    bool checksum = false;  // dates and sizes prove nothing
    bool force = false;     // changes of the side to be replaced go
};

// The file's note, if it has one that is about this URL.
using NoteOf = const FileNote*;

// Whether the resource is what the note is of, as far as the server tells. Likely is enough to
// transfer nothing, and not enough to overwrite it: it has the size and, to the grain of dates, the
// date of what we stored, whose entity tag nobody told.
enum class Likeness : uint8_t { same, likely, unknown, other };
Likeness compareWithNote(const Resource& there, const FileNote& note);

// A member of the tree there on its way here. unchangedHere: the file has the content that its note
// tells; nothing: the hash has to be looked at, which is asked for by compareContent.
Step chooseDown(const Resource& there, const std::optional<LocalEntry>& here, NoteOf note,
                std::optional<bool> unchangedHere, const CompareOptions& options);

// A file here on its way there; there: nothing when nothing is. skewSeconds: what the server's
// clock is ahead. datesKept: the server gives its files the dates that it is told.
struct ServerClock {
    double skewSeconds = 0;
    bool datesKept = false;
};
Step chooseUp(const LocalEntry& here, const std::optional<Resource>& there, NoteOf note,
              std::optional<bool> unchangedHere, const ServerClock& clock,
              const CompareOptions& options);

// Whether both have the same content, as far as it can be told without that. unchangedHere: as
// above; nothing: it is not known, or there is no note.
enum class Sameness : uint8_t { same, other, unsure };
Sameness compareSides(const LocalEntry& here, const Resource& there, NoteOf note,
                      std::optional<bool> unchangedHere, const ServerClock& clock);

}  // namespace quillon
