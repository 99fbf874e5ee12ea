// The files in the directories of a store, and which of them go first.
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/descriptor.hpp"

namespace quillon::sync {

// DIRECTORY/ab/ab12...: by its hash. Makes the directory, and has it on the disk. Throws a Failure.
std::filesystem::path makePlace(const std::filesystem::path& directory, const std::string& hash);
std::filesystem::path placeOf(const std::filesystem::path& directory, const std::string& hash);
std::filesystem::path lateIn(const std::filesystem::path& directory);
// Of 64 hexadecimal digits; nothing else becomes a name of a file.
bool isContentHash(const std::string& hash);

// Counts as taken at this moment. False: it is not there.
bool renewStored(const std::filesystem::path& file);

struct StoredFile {
    std::filesystem::path path{};
    uint64_t size = 0;    // in bytes
    int64_t takenNs = 0;  // since 1970

    std::string name() const { return path.filename().string(); }
};

// What goes while others come is there or not.
std::vector<StoredFile> listStored(const std::filesystem::path& directory);
std::vector<StoredFile> listLate(const std::filesystem::path& directory);

uint64_t bytesOf(const std::vector<StoredFile>& files);

// What goes so that nothing is left from before the moment and no more than so many bytes, oldest
// first, and nothing whose name is kept.
std::vector<StoredFile> chooseDropped(std::vector<StoredFile> files,
                                      const std::set<std::string>& kept, uint64_t most,
                                      int64_t notBeforeNs);

// Unless it was taken again since it was listed.
void dropStored(const std::vector<StoredFile>& files);

// What is an open file's from its start on goes to an empty one. shown: the first, for people. All
// throw a Failure.
void readFromStart(const vxhost::Descriptor& file, const std::string& shown);
bool shareContent(const vxhost::Descriptor& from, const vxhost::Descriptor& to);  // if it can be
void writeTo(const vxhost::Descriptor& file, std::string_view content);
// Returns the hash of what was copied, or is shared now.
std::string copyHashed(const vxhost::Descriptor& from, const std::string& shown,
                       const vxhost::Descriptor& to);

// What killed processes were filling.
void dropLeftovers(const std::filesystem::path& directory);

}  // namespace quillon::sync
