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

FileNote noteOfFetched(const std::string& url, const FetchedContent& fetched,
                       const NewFile& content, const LocalEntry& placed) {
    return {url,
            provenTag(fetched.version),
            fetched.version.modified,
            content.hash(),
            content.size(),
            placed.modifiedNs};
}

std::string hashOf(const LocalFolder& folder, const std::string& path, Links links) {
    const auto opened = folder.openForReading(path, links);
    if (!opened) return {};
    const auto hash = caught([&]() -> Result<std::string> { return hashFile(*opened, path); });
    return hash ? *hash : std::string();
}

}  // namespace quillon
