// Files that were taken themselves, into which somebody may still write.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "client/result.hpp"
#include "platform/base/descriptor.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

Error changedMeanwhile(const std::string& shown);

// Whether a file gets into the directory by a new name, and needs not be copied. Throws a Failure.
bool isRenamedInto(const vxhost::Descriptor& file, const std::filesystem::path& directory);

// To a place in a store, for which it has Store::take(). Throws a Failure, too.
Result<void> moveToLate(const vxhost::Descriptor& folder, const std::string& hidden,
                        const std::filesystem::path& place, const std::string& shown);

// Makes it an ordinary content of the store, whose name is yet to be brought to the disk. Gives the
// hash that it has now; nothing when it stays late. Throws a Failure.
std::optional<std::string> settleLate(const std::filesystem::path& directory, const LateFile& late);

}  // namespace quillon::sync
