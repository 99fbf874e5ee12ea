#include "client/tree/put_file.hpp"

#include <chrono>
#include <utility>

#include "client/facts/server_facts.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/property.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/replace.hpp"

namespace quillon {

Task<Result<bool>> FilePutter::compareContent(const LocalFolder& folder, const FileToPut& file) {
    const Result<HashedContent> there = co_await fetchHash(remote_, file.url, file.there->size);
    if (!there) co_return there.error();
    if (there->hash == hashOf(folder, file.path, options_.links)) {
        keepNote(folder, file, makeNote(file, there->version, there->hash), file.here);
        co_return false;
    }
    if (!file.note || there->hash == file.note->hash) co_return true;
    co_return localError(Kind::changedOnServer,
                         "Somebody changed it on the server since this file came from there, "
                         "and it was left alone. Fetch it under another name, and look at both "
                         "(or overwrite it with --force).");
}

Task<Result<PutEnd>> FilePutter::put(const LocalFolder& folder, const FileToPut& file) {
    Result<vxhost::Descriptor> opened = folder.openForReading(file.path, options_.links);
    if (!opened) co_return std::move(opened).error();
    vxhost::FileUpload content(std::move(*opened), folder.shown(file.path),
                               [meter = options_.meter](int64_t bytes) {
                                   if (meter) meter->move(bytes);
                               });
    Result<Stored> stored = co_await send(file, content);
    if (!stored) {
        co_return co_await withHolderOfMember(remote_, file.url, std::move(stored).error());
    }
    PutEnd end;
    end.size = content.length().value_or(0);
    // The note before the look, which may find what somebody else stored meanwhile: by the date in
    // a note a later version goes over it.
    noteStored(folder, file, content, *stored);
    const bool isUnknown = stored->version.tag.text.empty() && !stored->version.modified;
    if (isUnknown && end.size > worthLooking) {
        co_await lookForDate(file, end.size, &stored->version);
    }
    end.hash = content.hash();
    end.begun = localEntryOf(content.begun());
    end.isOther = stored->isOther;
    if (stored->isOther) {
        end.remark = localError(
            Kind::network, "The server stores something else than was sent; fetch it to see what.");
    }
    end.version = stored->version;
    end.mishap = std::move(stored->stillLocked);
    if (co_await replacedAnother(file, *stored)) {
        end.mishap = localError(Kind::network,
                                "Somebody else made it at the same time, and the server replaced "
                                "that, though it was asked not to: their version is lost.");
    }
    co_return std::move(end);
}

// The date of the answer may be that of the request, and a large content took its time to come.
Task<> FilePutter::lookForDate(const FileToPut& file, uint64_t sent, Version* stored) {
    const Result<std::optional<Resource>> now = co_await look(remote_, file.url);
    if (now && *now && (*now)->size == sent) stored->modified = (*now)->modified;
}

// A condition was not obeyed, if the server tells at all what is new.
Task<bool> FilePutter::replacedAnother(const FileToPut& file, const Stored& stored) {
    if (file.there || stored.isNew || options_.overAnything) co_return false;
    const Result<ServerFacts> facts = co_await facts_.ask();
    if (!facts || !facts->putTellsNew) co_return false;
    facts_.forget();
    co_return true;
}

Task<Result<Stored>> FilePutter::send(const FileToPut& file, vxhost::FileUpload& content) {
    Result<ServerFacts> facts = ServerFacts{};
    if (!options_.overAnything) facts = co_await facts_.ask();
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
    if (options_.overAnything) {
        const Result<std::optional<HeldLock>> own = co_await useOwnLock(remote_, file.url);
        if (!own) co_return own.error();
        Conditions conditions;
        if (*own) conditions.lockToken = (*own)->token();
        co_return co_await store(remote_, file.url, content, conditions, std::move(headers));
    }
    const Guard guard = preferOwnLock(remote_, file.url,
                                      file.there ? guardOfReplacing(facts) : guardOfMaking(facts));
    if (isLock(guard)) {
        const Gate::Pass alone = co_await locks_.enter();
        co_return co_await storeBy(guard, file, content, std::move(headers));
    }
    Result<Stored> stored = co_await storeBy(guard, file, content, std::move(headers));
    if (!stored && stored.error().httpStatus == 412) co_await doubtFacts(file);
    co_return std::move(stored);
}

Task<Result<Stored>> FilePutter::storeBy(Guard guard, const FileToPut& file,
                                         vxhost::FileUpload& content,
                                         std::vector<std::string> headers) {
    if (file.there) {
        co_return co_await replaceMember(remote_, file.url, content, *file.there, guard,
                                         std::move(headers), file.thereHash);
    }
    co_return co_await makeMember(remote_, file.url, content, guard, std::move(headers));
}

// After a 412: when nobody has changed what is there, the condition is not obeyed as it was.
Task<> FilePutter::doubtFacts(const FileToPut& file) {
    const Result<std::optional<Resource>> now = co_await look(remote_, file.url);
    const bool isSame =
        now && (file.there && *now ? isSameVersion(*file.there, **now) : !file.there && !*now);
    if (isSame) facts_.forget();
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
    // It is of what was stored, and of nothing that came after it, unless another version of that
    // second has it, too: then the hash decides.
    if (facts_.tagsDiffer()) note.tag = speltTag(stored.version.tag);
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
