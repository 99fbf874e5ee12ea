#include "client/memory/remembered_copy.hpp"

#include <utility>

#include "client/outcome.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

// A pipe would be waited for.
vxhost::Descriptor openFile(const fs::path& file) {
    return {file.string(), O_RDONLY | O_NONBLOCK};
}

}  // namespace

std::optional<FileNote> noteOf(FileMemory& memory, const fs::path& file, std::string_view url) {
    auto note = memory.find(file);
    if (note && !vxhost::sameResource(note->url, url)) note.reset();
    return note;
}

std::optional<LocalEntry> lookAtFile(const fs::path& file) {
    struct stat found {};
    const bool isFile = stat(file.c_str(), &found) == 0 && S_ISREG(found.st_mode);
    return isFile ? std::optional(localEntryOf(found)) : std::nullopt;
}

Result<void> mayReplaceCopy(FileMemory& memory, const fs::path& file, std::string_view url) {
    if (!lookAtFile(file)) return {};
    const auto note = noteOf(memory, file, url);
    if (!note) return {};
    const Result<bool> isSame = caught([&]() -> Result<bool> {
        const vxhost::Descriptor open = openFile(file);
        const LocalEntry entry = lookAt(open);
        if (isUnchanged(*note, entry)) return true;
        return entry.size == note->size && hashFile(open, file) == note->hash;
    });
    if (!isSame) return isSame.error();
    if (*isSame) return {};
    return localError(Kind::changedHere,
                      file.string() +
                          " was changed since it came from there, and was kept. Store "
                          "it with quillon put, fetch to another name with -o, or "
                          "replace it with --force.");
}

Result<void> mayReplaceMember(Member& member, const FileNote& note) {
    if (isSameTag(note.tag, member.latestTag())) return {};
    if (!note.hash.empty()) {
        const Result<Fetched> fetched = member.fetch();
        if (!fetched) return fetched.error();
        const Result<std::string> hash = caught([&]() -> Result<std::string> {
            return hashFile(openFile(fetched->file), fetched->file);
        });
        if (!hash) return hash.error();
        if (*hash == note.hash && fetched->endProven) return {};
        // Both may be the same part of what would be lost.
        if (*hash == note.hash) {
            return localError(Kind::network,
                              "The server tells neither its length nor its size, so that nothing "
                              "shows whether this file came from all of it; nothing was "
                              "overwritten. Look at it with quillon get -o, then store the result "
                              "with --force.");
        }
    }
    return localError(Kind::changedOnServer,
                      "It was changed on the server since this file came from there; nothing was "
                      "overwritten. Fetch that version to another name (quillon get -o), bring "
                      "the two together, then store the result with --force.");
}

void rememberCopy(FileMemory& memory, const fs::path& file, std::string url, std::string tag,
                  std::optional<Time> serverDate, std::string hash) {
    if (!lookAtFile(file)) return;
    // What cannot be read now is not remembered.
    (void)caught([&]() -> Result<void> {
        const vxhost::Descriptor open = openFile(file);
        const LocalEntry entry = lookAt(open);
        const bool isWorthIt = tag.empty() || entry.size <= worthHashing;
        if (hash.empty() && isWorthIt) hash = hashFile(open, file);
        memory.keep(file, open,
                    {std::move(url), std::move(tag), serverDate, std::move(hash), entry.size,
                     entry.modifiedNs});
        return {};
    });
}

}  // namespace quillon
