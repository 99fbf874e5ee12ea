#include "client/tree/put_file.hpp"

#include <chrono>
#include <utility>

#include "client/facts/server_facts.hpp"
#include "client/hold.hpp"
#include "client/remote/hash_taker.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/property.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/replace.hpp"

namespace quillon {

std::string FilePutter::hashHere(const LocalFolder& folder, const FileToPut& file) const {
    return hashOf(folder, file.path, options_.links);
}

Task<Result<bool>> FilePutter::compareContent(const LocalFolder& folder, const FileToPut& file) {
    HashTaker taker;
    const FetchWish wish{.size = file.there->size};
    const Result<FetchedContent> fetched = co_await fetch(remote_, file.url, taker, wish);
    if (!fetched) co_return fetched.error();
    const std::string there = taker.hash();
    if (there == hashHere(folder, file)) {
        keepNote(folder, file, makeNote(file, fetched->version, there), file.here);
        co_return false;
    }
    if (!file.note || there == file.note->hash) co_return true;
    co_return localError(Kind::changedOnServer,
                         "Somebody changed it on the server since this file came from there, "
                         "and it was left alone. Fetch it under another name, and look at both "
                         "(or overwrite it with --force).");
}

Task<Result<uint64_t>> FilePutter::put(const LocalFolder& folder, const FileToPut& file) {
    Result<vxhost::Descriptor> opened = folder.openForReading(file.path, options_.links);
    if (!opened) co_return std::move(opened).error();
    vxhost::FileUpload content(std::move(*opened), folder.shown(file.path),
                               [meter = options_.meter](int64_t bytes) {
                                   if (meter) meter->move(bytes);
                               });
    Result<Stored> stored = co_await send(file, content);
    if (stored) {
        noteStored(folder, file, content, *stored);
        co_return *content.length();
    }
    std::vector<std::string> urls;
    urls.push_back(file.url);
    co_return co_await withHolder(remote_, std::move(urls), std::move(stored).error());
}

Task<Result<Stored>> FilePutter::send(const FileToPut& file, vxhost::FileUpload& content) {
    Result<ServerFacts> facts = ServerFacts{};
    if (file.there && !options_.overAnything) facts = co_await facts_.ask();
    if (!facts) co_return facts.error();
    const DatesBy dates = facts_.dates();
    const Time modified(std::chrono::floor<std::chrono::seconds>(
        std::chrono::nanoseconds(localEntryOf(content.begun()).modifiedNs)));
    std::vector<std::string> headers;
    if (std::string line = dateLine(dates, modified); !line.empty()) headers.push_back(line);
    Result<Stored> stored = co_await sendGuarded(file, content, *facts, std::move(headers));
    if (!stored || dates == DatesBy::none) co_return std::move(stored);
    if (dates == DatesBy::property) {
        const Result<void> set = co_await setFileDate(remote_, file.url, modified);
        if (!set) co_return std::move(stored);  // it is stored all the same
        stored->version.tag = {};               // another one may be of the new date
    }
    stored->version.modified = modified;
    co_return std::move(stored);
}

Task<Result<Stored>> FilePutter::sendGuarded(const FileToPut& file, vxhost::FileUpload& content,
                                             ServerFacts facts, std::vector<std::string> headers) {
    if (file.there && !options_.overAnything) {
        co_return co_await replace(file, content, std::move(facts), std::move(headers));
    }
    const Conditions conditions{.onlyNew = !options_.overAnything};
    Result<Stored> stored =
        co_await store(remote_, file.url, content, conditions, std::move(headers));
    if (!stored && conditions.onlyNew && stored.error().httpStatus == 412)
        co_return madeMeanwhile();
    co_return std::move(stored);
}

Task<Result<Stored>> FilePutter::replace(const FileToPut& file, vxhost::FileUpload& content,
                                         ServerFacts facts, std::vector<std::string> headers) {
    const Guard guard = guardOfReplacing(facts);
    if (guard != Guard::lock) {
        Result<Stored> stored = co_await replaceMember(remote_, file.url, content, *file.there,
                                                       guard, std::move(headers));
        if (!stored && stored.error().httpStatus == 412) co_await doubtFacts(file);
        co_return std::move(stored);
    }
    const Gate::Pass alone = co_await locks_.enter();
    co_return co_await replaceMember(remote_, file.url, content, *file.there, Guard::lock,
                                     std::move(headers));
}

// After a 412: when nobody has changed the member, the condition is not obeyed as it was.
Task<> FilePutter::doubtFacts(const FileToPut& file) {
    const Result<std::optional<Resource>> now = co_await look(remote_, file.url);
    if (now && *now && isSameVersion(*file.there, **now)) facts_.forget();
}

FileNote FilePutter::makeNote(const FileToPut& file, const Version& version,
                              std::string hash) const {
    FileNote note;
    note.url = file.url;
    note.tag = provenTag(version);
    note.serverDate = version.modified ? version.modified : version.date;
    note.hash = std::move(hash);
    return note;
}

void FilePutter::noteStored(const LocalFolder& folder, const FileToPut& file,
                            const vxhost::FileUpload& content, const Stored& stored) const {
    FileNote note = makeNote(file, stored.version, content.hash());
    // It is of what was stored, and of nothing that came after it.
    note.tag = speltTag(stored.version.tag);
    keepNote(folder, file, std::move(note), localEntryOf(content.begun()));
}

void FilePutter::keepNote(const LocalFolder& folder, const FileToPut& file, FileNote note,
                          const LocalEntry& here) const {
    if (!options_.memory) return;
    note.size = here.size;
    note.modifiedNs = here.modifiedNs;
    const auto opened = folder.openForReading(file.path, options_.links);
    if (opened) options_.memory->keep(folder.shown(file.path), *opened, note);
}

}  // namespace quillon
