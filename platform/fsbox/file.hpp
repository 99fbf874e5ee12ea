// Files of fsbox: large buffers beneath small pieces.
#pragma once

#include <string>

#include "host/fsbox.h"

namespace vxhost {

// Both throw a Failure. Trouble with the open file becomes a sentence of the journal (or null).

// Symbolic links are followed: a person may put one in place of the cache file.
vx::File* openReadFile(const std::string& path, vx::Journal* journal);

// Mode 0600; no link is followed. A file whose bytes could not all be stored is removed when it is
// closed, so that no part passes for the whole.
vx::File* openWrittenFile(const std::string& path, vx::Journal* journal);

// Writes the sentence; returns the error's status. done: "read", "written".
vx::Status tellTrouble(vx::Journal* journal, const std::string& path, const char* done,
                       int error) noexcept;

}  // namespace vxhost
