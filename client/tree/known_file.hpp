// What is known of a file of a local folder beside what it is: its note, and its content's hash.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "client/memory/file_memory.hpp"
#include "client/remote/content.hpp"
#include "client/tree/local_folder.hpp"

namespace quillon {

// The note of the file, or of one that was there, if it is about that URL. memory: null for none.
std::optional<FileNote> noteAbout(FileMemory* memory, const LocalFolder& folder,
                                  const std::string& path, std::string_view url);

// Of a content that was fetched, and is here so.
FileNote noteOfFetched(const std::string& url, const Version& version, std::string hash,
                       const LocalEntry& here);

// The same of one that was just placed, by its tag, its hash or both. Fails where the hash has to
// be made and the file cannot be read.
Result<FileNote> noteOfPlaced(const std::string& url, const Version& version, NewFile& content,
                              const LocalEntry& here);

// Whether the content is still the noted one: surely, by its hash.
bool hasNotedHash(const LocalFolder& folder, const std::string& path, Links links,
                  const FileNote& note);

// ContentHash of all of it; empty when it cannot be read.
std::string hashOf(const LocalFolder& folder, const std::string& path, Links links);

}  // namespace quillon
