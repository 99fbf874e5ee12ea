#include "client/tree/between.hpp"

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "client/outcome.hpp"
#include "client/remote/content_pipe.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/holder.hpp"

namespace quillon {
namespace {

Error changed() {
    return localError(Kind::changedOnServer,
                      "Somebody changed it after it was copied, so it was not removed: it is in "
                      "both places now.");
}

Error lengthChanged() {
    return localError(Kind::network, "Its length is not what the server told before. Try again.");
}

// Runs on the fetching thread.
Result<FetchedContent> fetchInto(ContentPipe& pipe, Remote& source, const std::string& from,
                                 std::optional<uint64_t> size) {
    Result<FetchedContent> fetched = caught([&]() -> Result<FetchedContent> {
        return source.run(fetchWhole(source, from, pipe, {size}));
    });
    pipe.end(static_cast<bool>(fetched));
    return fetched;
}

// Whether a store at the same place since would show in its date, whose seconds are whole.
bool wouldShowStore(const Version& version) {
    return version.modified && version.date &&
           *version.modified + std::chrono::seconds(2) < *version.date;
}

// A server may be reached by two URLs: a member must not be stored over itself while it is read.
Result<void> requireOther(const Resource& here, const Resource& there) {
    if (here.tag.text.empty() || here.tag.text != there.tag.text) return {};
    return localError(Kind::refused,
                      "It is the same there already, or is this one by another URL, and was left "
                      "alone.");
}

}  // namespace

Error takenAlready() {
    return localError(Kind::refused, "Something has this name there already, and was left alone.");
}

Result<std::optional<Resource>> lookBefore(Remote& destination, const std::string& to,
                                           Overwrite overwrite) {
    Result<std::optional<Resource>> there = destination.run(look(destination, to));
    if (!there || !*there) return there;
    if ((*there)->isCollection || overwrite == Overwrite::no) return takenAlready();
    return there;
}

Result<CopiedMember> Between::copy(std::string from, std::optional<uint64_t> size, std::string to,
                                   Parent parent) {
    std::optional<Resource> replaced;
    if (parent == Parent::existing) {
        Result<std::optional<Resource>> there = lookBefore(destination_, to, overwrite_);
        if (!there) return std::move(there).error();
        replaced = std::move(*there);
    }
    if (replaced || !size) {
        const Result<std::optional<Resource>> here = source_.run(look(source_, from));
        if (replaced && !here) return here.error();
        if (here && *here && !size) size = (*here)->size;
        Result<void> other = replaced && *here ? requireOther(**here, *replaced) : Result<void>();
        if (!other) return std::move(other).error();
    }
    const Result<std::optional<HeldLock>> own = destination_.run(useOwnLock(destination_, to));
    if (!own) return own.error();
    ContentPipe pipe(destination_.settings(), size);
    std::optional<Result<FetchedContent>> fetched;
    std::optional<Result<Stored>> stored;
    std::exception_ptr thrown, thrownByFetch;  // no exception may leave a thread
    {
        const std::jthread fetching([&] {
            try {
                fetched = fetchInto(pipe, source_, from, size);
            } catch (...) {
                thrownByFetch = std::current_exception();
                pipe.end(false);
            }
        });
        try {
            const bool begun = pipe.awaitBeginning();
            Conditions conditions;
            conditions.onlyNew = overwrite_ == Overwrite::no;
            if (*own) conditions.lockToken = (*own)->token();
            if (begun) stored = destination_.run(store(destination_, to, pipe, conditions));
        } catch (...) {
            thrown = std::current_exception();
        }
        pipe.close();
    }
    if (thrown) std::rethrow_exception(thrown);
    if (thrownByFetch) std::rethrow_exception(thrownByFetch);
    if (pipe.isOther() || (*fetched && !pipe.isWhole())) fetched = lengthChanged();
    if (stored && *stored && *fetched) {
        return CopiedMember{std::move(from),  std::move(to), (*fetched)->version,
                            (*fetched)->size, pipe.hash(),   replaced.has_value()};
    }
    // Where storing it failed by itself, the fetch was broken off for that.
    const bool byItself = stored && !*stored && !pipe.sourceFailed();
    Error error = byItself ? std::move(*stored).error() : std::move(*fetched).error();
    error = destination_.run(withHolder(destination_, {to}, std::move(error)));
    if (replaced || error.httpStatus != 0) return error;
    const Result<std::optional<Resource>> left = destination_.run(look(destination_, to));
    if (left && *left) {
        error.sentences.push_back("Something is at the destination now, perhaps a part of it: " +
                                  to);
    }
    return error;
}

Result<std::string> Between::hashOf(Remote& remote, const std::string& url, uint64_t size) {
    Result<HashedContent> fetched = remote.run(fetchHash(remote, url, size));
    if (!fetched) return std::move(fetched).error();
    return std::move(fetched->hash);
}

Result<void> Between::verify(const CopiedMember& copied) {
    const Result<std::string> hash = hashOf(destination_, copied.to, copied.size);
    if (!hash) return hash.error();
    if (*hash == copied.hash) return {};
    return localError(Kind::changedOnServer,
                      "The destination does not have the same content, so the source was not "
                      "removed. Compare both.");
}

Result<void> Between::requireUntouched(const CopiedMember& copied) {
    const Result<std::optional<Resource>> now = source_.run(look(source_, copied.from));
    if (!now) return now.error();
    if (!*now) return changed();
    const vxhost::EntityTag& tag = copied.version.tag;
    const bool otherTag =
        !tag.text.empty() && !(*now)->tag.text.empty() && (*now)->tag.text != tag.text;
    const bool otherDate = copied.version.modified && (*now)->modified &&
                           *(*now)->modified != *copied.version.modified;
    const bool otherSize = (*now)->size && *(*now)->size != copied.size;
    return otherTag || otherDate || otherSize ? changed() : Result<void>();
}

Result<void> Between::requireSameContent(const CopiedMember& copied) {
    const Result<std::string> hash = hashOf(source_, copied.from, copied.size);
    if (!hash) return hash.error().kind == Kind::network ? changed() : hash.error();
    return *hash == copied.hash ? Result<void>() : changed();
}

Result<Between::Removed> Between::removeSource(const CopiedMember& copied) {
    // What was stored over itself, by another URL, must not go.
    if (copied.replaced && !wouldShowStore(copied.version)) {
        return localError(Kind::refused,
                          "Its date does not tell whether it is what was replaced, by another URL, "
                          "so it was not removed.");
    }
    const vxhost::EntityTag& tag = copied.version.tag;
    const bool isOwn = knowsOwnLock(source_, copied.from);
    if (tag.text.empty() || tag.weak || isOwn) return removeUnderLock(copied);
    Result<void> untouched = requireUntouched(copied);  // some servers look at no condition
    if (!untouched) return std::move(untouched).error();
    Conditions conditions;
    conditions.tag = tag;
    Result<void> removed = source_.run(remove(source_, copied.from, conditions));
    if (removed) return Removed{};
    if (removed.error().kind == Kind::changedOnServer) return changed();
    return source_.run(withHolder(source_, {copied.from}, std::move(removed).error()));
}

Result<Between::Removed> Between::removeUnderLock(const CopiedMember& copied) {
    Result<HeldLock> lock = source_.run(takeLock(source_, copied.from, Depth::zero));
    if (!lock && !meansNoLocks(lock.error())) {
        return source_.run(withHolder(source_, {copied.from}, std::move(lock).error()));
    }
    Result<void> done = requireUntouched(copied);
    if (done) done = requireSameContent(copied);
    if (!lock) {
        if (done) done = source_.run(remove(source_, copied.from));
        if (!done) return std::move(done).error();
        return Removed{.isGuarded = false};
    }
    if (done) {
        Conditions conditions;
        conditions.lockToken = lock->token();
        done = source_.run(remove(source_, copied.from, conditions));
        if (done && lock->isOwn()) {
            done = source_.run(giveBackOwn(source_, std::move(*lock)));
            if (!done) return std::move(done).error();
        }
        if (done) return Removed{};  // a lock that it took itself went with it
    }
    Error error = std::move(done).error();
    Result<void> back = source_.run(giveBack(source_, std::move(*lock)));
    if (!back) error.locks = back.error().locks;
    return error;
}

Result<void> Between::removeEmptied(const std::string& url) {
    Result<HeldLock> lock = source_.run(takeLock(source_, url, Depth::infinity));
    if (!lock && !meansNoLocks(lock.error())) {
        return source_.run(withHolder(source_, {url}, std::move(lock).error()));
    }
    Conditions conditions;
    if (lock) conditions.lockToken = lock->token();
    Result<void> done;
    const Result<Members> members = source_.run(list(source_, url));
    if (!members) {
        done = members.error();
    } else if (!members->resources.empty() || members->unreadable > 0) {
        done = localError(Kind::changedOnServer, "Something is in it, so it was not removed.");
    } else {
        done = source_.run(remove(source_, url, conditions));
    }
    if (done || !lock) return done;
    Error error = std::move(done).error();
    Result<void> back = source_.run(giveBack(source_, std::move(*lock)));
    if (!back) error.locks = back.error().locks;
    return error;
}

}  // namespace quillon
