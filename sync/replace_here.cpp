#include "sync/replace_here.hpp"

#include <utility>

#include "client/local_file.hpp"
#include "client/tree/known_file.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {

Result<FileHere> readFileHere(const LocalFolder& folder, const std::string& path) {
    Result<std::optional<LocalEntry>> entry = folder.look(path);
    if (!entry) return std::move(entry).error();
    return FileHere{*entry, *entry ? hashOf(folder, path, Links::left) : std::string()};
}

OldFileTaker takeInto(Store& store, std::string path, const FileHere& old, StateChange& change) {
    if (!old.entry) return {};
    HereState version = hereStateOf(*old.entry);
    version.hash = old.hash;
    return [&store, &change, path = std::move(path), version = std::move(version)](
               const vxhost::Descriptor& folder, const std::string& hidden) -> Result<void> {
        Result<LateFile> late = store.take(folder, hidden, path, version);
        if (!late) return std::move(late).error();
        change.late.push_back(std::move(*late));
        return {};
    };
}

Result<NewFile> copyToNewFile(const LocalFolder& folder, const std::filesystem::path& content,
                              const std::string& path) {
    Result<NewFile> file = folder.makeFile(path);
    if (!file) return file;
    Result<void> written;
    const Result<void> read = readPieces(content, [&](std::string_view piece) {
        written = file->write(piece);
        return bool(written);
    });
    if (!read) return read.error();
    if (!written) return std::move(written).error();
    return file;
}

Result<void> replaceHere(const LocalFolder& folder, State& state, Store& store,
                         const std::string& path, const FileHere& old, NewFile& file, int64_t run,
                         std::optional<Time> modified) {
    if (old.entry) {
        if (Result<void> free = store.checkWriters(folder, path); !free) return free;
        if (Result<void> fits = store.reserve(old.entry->size); !fits) return fits;
    }
    StateChange before;
    Intent intent{.act = Act::fetch, .path = path, .oldHash = old.hash, .newHash = file.hash()};
    if (old.entry) intent.hidden = file.hiddenName();
    before.intents.push_back(std::move(intent));
    if (Result<void> noted = state.commit(before); !noted) return noted;
    StateChange after;
    const Result<LocalEntry> placed =
        file.place(modified, old.entry, Durability::content, takeInto(store, path, old, after));
    if (!placed) return placed.error();
    after.endedIntents.push_back(before.intents.front().id);
    after.deeds.push_back(deedOf(run, Act::fetch, path, old.hash, file.hash()));
    return state.commit(after);
}

}  // namespace quillon::sync
