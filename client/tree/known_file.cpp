#include "client/tree/known_file.hpp"

#include "client/outcome.hpp"
#include "platform/text/url.hpp"

namespace quillon {

std::optional<FileNote> noteAbout(FileMemory* memory, const LocalFolder& folder,
                                  const std::string& path, std::string_view url) {
    if (memory == nullptr) return {};
    std::optional<FileNote> note = memory->find(folder.shown(path));
    if (note && !vxhost::sameResource(note->url, url)) note.reset();
    return note;
}

FileNote noteOfFetched(const std::string& url, const Version& version, std::string hash,
                       const LocalEntry& here) {
    return {url,       provenTag(version), provenDate(version), std::move(hash),
            here.size, here.modifiedNs};
}

Result<FileNote> noteOfPlaced(const std::string& url, const Version& version, NewFile& content,
                              const LocalEntry& here) {
    FileNote note = noteOfFetched(url, version, content.hash(), here);
    if (note.tag.empty() && note.hash.empty()) {
        Result<std::string> hash = content.readHash();
        if (!hash) return std::move(hash).error();
        note.hash = std::move(*hash);
    }
    return note;
}

bool hasNotedHash(const LocalFolder& folder, const std::string& path, Links links,
                  const FileNote& note) {
    return !note.hash.empty() && hashOf(folder, path, links) == note.hash;
}

std::string hashOf(const LocalFolder& folder, const std::string& path, Links links) {
    const auto opened = folder.openForReading(path, links);
    if (!opened) return {};
    const auto hash = caught([&]() -> Result<std::string> { return hashFile(*opened, path); });
    return hash ? *hash : std::string();
}

}  // namespace quillon
