// Renaming that replaces nothing.
#pragma once

#include <string>

namespace vxhost {

// Both names are of the directory, or any paths for AT_FDCWD. False: the new name was taken, and
// the old one stays. Throws a Failure.
bool renameToFree(int directory, const std::string& from, const std::string& to);
bool renameToFree(int fromDirectory, const std::string& from, int toDirectory,
                  const std::string& to);

}  // namespace vxhost
