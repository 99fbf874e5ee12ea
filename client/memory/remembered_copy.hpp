// What the memory of a local file and of its member decides, before either overwrites the other.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "client/member.hpp"
#include "client/memory/file_memory.hpp"
#include "client/result.hpp"

namespace quillon {

// The note of a file that came from that URL, or was stored there.
std::optional<FileNote> noteOf(FileMemory& memory, const std::filesystem::path& file,
                               std::string_view url);

// Of a regular file, links followed.
std::optional<LocalEntry> lookAtFile(const std::filesystem::path& file);

// Fails with Kind::changedHere when the file came from that URL, or was stored there, and has been
// changed since.
Result<void> mayReplaceCopy(FileMemory& memory, const std::filesystem::path& file,
                            std::string_view url);

// Fails with Kind::changedOnServer when the member is not what was noted: by its tag, and where
// that is another one or not known, by its content, which is fetched then and is the member's local
// copy afterwards; with Kind::network when nothing shows whether all of that came. For a member
// that is held, so that it stays what was looked at.
Result<void> mayReplaceMember(Member& member, const FileNote& note);

// Notes that the file is the member's content, as it was fetched or stored. tag: as
// Member::latestTag() has it. hash: of the file, where it is known; else it is made, if it is worth
// it beside the tag. What is no regular file is not noted.
void rememberCopy(FileMemory& memory, const std::filesystem::path& file, std::string url,
                  std::string tag, std::optional<Time> serverDate, std::string hash = {});

}  // namespace quillon
