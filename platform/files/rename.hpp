// Renaming that replaces nothing.
#pragma once

#include <string>

namespace vxhost {

// Both names are of the directory, or any paths for AT_FDCWD. False: the new name was taken, and
// the old one stays. Throws a Failure, which says what was attempted: else, to write the new name.
bool renameToFree(int directory, const std::string& from, const std::string& to,
                  const std::string& attempt = {});
bool renameToFree(int fromDirectory, const std::string& from, int toDirectory,
                  const std::string& to, const std::string& attempt = {});

}  // namespace vxhost
