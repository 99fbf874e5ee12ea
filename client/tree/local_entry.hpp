// What is in a local folder under a name.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/base/descriptor.hpp"

namespace quillon {

enum class LocalKind : uint8_t { file, folder, link, special };

struct LocalEntry {
    LocalKind kind = LocalKind::special;
    uint64_t size = 0;                      // in bytes
    int64_t modifiedNs = 0, changedNs = 0;  // since 1970; changed: the content or what describes it
    uint64_t inode = 0, device = 0;
    mode_t mode = 0;  // the permissions alone
};

LocalEntry localEntryOf(const struct stat& found);

// Of a name in a directory, links not followed; nothing for nothing. Both throw a Failure.
std::optional<LocalEntry> lookAt(const vxhost::Descriptor& directory, const std::string& name);
LocalEntry lookAt(const vxhost::Descriptor& file);

// The same file with the same content, as far as this tells. Its name, permissions and attributes
// may be others.
bool isSameVersion(const LocalEntry& seen, const LocalEntry& now);
// Neither are these.
bool isUntouched(const LocalEntry& seen, const LocalEntry& now);

}  // namespace quillon
