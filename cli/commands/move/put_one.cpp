#include "cli/commands/move/put_one.hpp"

#include <filesystem>
#include <memory>

#include "cli/commands/change/change.hpp"
#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "client/facts/facts_store.hpp"
#include "client/memory/background_hash.hpp"
#include "client/memory/remembered_copy.hpp"
#include "client/remote/store_stream.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

// One file on its way to a member.
class Upload {
public:
    // memory: null for none.
    Upload(Session& session, Member& member, const Address& address, const fs::path& source,
           const PutOptions& options, FileMemory* memory)
        : session_(session),
          member_(member),
          address_(address),
          source_(source),
          options_(options),
          memory_(memory) {
        if (memory_ != nullptr) note_ = noteOf(*memory_, source_, address.url());
    }

    int run() {
        if (Result<void> copied = member_.copyFrom(source_); !copied) {
            return reportFailure(copied.error());
        }
        session_.progress().start(address_.name());
        const Result<NamedLock> named = NamedLock::make(session_, address_, options_.token);
        if (!named) return reportFailure(named.error());
        if (options_.force) {
            const Result<bool> own = member_.useOwnLock();
            const Result<void> stored =
                own ? remembering([this] { return member_.store(); }) : Result<void>(own.error());
            session_.progress().finish();
            return stored ? confirmStored() : reportFailure(stored.error());
        }
        Result<Hold> hold = Hold::take(member_);
        if (!hold) return reportFailure(hold.error());
        Result<void> stored = named->requireUsed(member_);
        if (stored) stored = storeHeld(*hold);
        session_.progress().finish();
        return releaseHold(*hold, address_,
                           stored ? confirmStored() : reportFailure(stored.error()));
    }

private:
    int confirmStored() {
        std::error_code unknown;
        const uintmax_t size = fs::file_size(member_.file(), unknown);
        confirm(session_, "stored", address_.name(),
                unknown ? std::nullopt : std::optional<uint64_t>(size));
        return exitDone;
    }
    int reportFailure(const Error& error) { return report("store", address_.url(), error); }

    // A failing release is the caller's.
    Result<void> storeHeld(Hold& hold) {
        if (!hold.isNew()) {
            Result<void> unchanged =
                checkUnchanged(hold.properties().modified, options_.unchangedSince);
            if (!unchanged) return unchanged;
        }
        if (note_ && !hold.isNew()) {
            if (Result<void> may = mayReplaceMember(member_, *note_); !may) return may;
            // A comparison of contents left the member's own in the place of the local copy.
            if (Result<void> copied = member_.copyFrom(source_); !copied) return copied;
        }
        return remembering([&hold] { return hold.store(); });
    }

    // A file that was changed while it was sent is not what is stored there.
    template <class Store>
    Result<void> remembering(Store&& store) {
        const auto before = lookAtFile(source_);
        const bool isNoted = before && memory_ != nullptr;
        const bool isLocked = member_.locked();
        // A tag that the server may give to another version of the same second proves nothing; and
        // without a lock no later answer tells which version is this one. Its content has to, then.
        const auto facts = isNoted ? findFacts(address_.collection()) : std::nullopt;
        const bool tagsRepeat = facts && !facts->tagsDiffer;
        std::optional<BackgroundHash> hashing;
        const bool needsHash = !isLocked || tagsRepeat;
        if (isNoted && needsHash && before->size > worthHashing) hashing.emplace(source_);
        Result<void> stored = store();
        if (!stored || !isNoted) return stored;
        std::string tag = member_.latestTag();
        const bool isWorthIt = note_ || before->size > worthLooking;
        if (tag.empty() && isWorthIt && isLocked) tag = askForTag(*before);
        if (tagsRepeat) tag.clear();
        std::string hash = hashing && tag.empty() ? hashing->finish() : std::string();
        const auto after = lookAtFile(source_);
        if (after && isSameVersion(*before, *after)) {
            rememberCopy(*memory_, source_, address_.url(), std::move(tag), {}, std::move(hash));
        }
        return stored;
    }

    // Under the lock, so that it is that of what was stored.
    std::string askForTag(const LocalEntry& sent) {
        const Result<Properties> now = member_.info();
        if (!now) return {};
        if (now->size && *now->size != sent.size) {
            complain(address_.url() +
                     ": the server stores something else than was sent; fetch it to see what");
        }
        return member_.latestTag();
    }

    Session& session_;
    Member& member_;
    const Address& address_;
    const fs::path& source_;
    const PutOptions& options_;
    FileMemory* const memory_;
    std::optional<FileNote> note_;  // that the file came from this member
};

}  // namespace

Result<void> checkUnchanged(std::optional<Time> modified, std::optional<Time> limit) {
    if (!limit || (modified && *modified <= *limit)) return {};
    return localError(Kind::changedOnServer,
                      modified
                          ? "It was changed on the server later than that; nothing was overwritten."
                          : "This server keeps no date of its last change; nothing was "
                            "overwritten.");
}

int put(Session& session, const std::string& file, const Address& address,
        const PutOptions& options, FileMemory* memory) {
    const auto member = session.member(address);
    if (!member) {
        return report("store", address.url(), explainNoPlace(session, address, member.error()));
    }
    const bool isInput = file == standardInput;
    const fs::path source = isInput ? "/dev/stdin" : file;
    return Upload(session, **member, address, source, options, isInput ? nullptr : memory).run();
}

int putStream(Session& session, const Address& address, const PutOptions& options) {
    if (!address.namesMember()) {
        return report("store", address.url(),
                      localError(Kind::usage, "Name the member that the standard input becomes."));
    }
    StreamWish wish{.force = options.force};
    wish.mayReplace = [&options](const Resource& there) {
        return checkUnchanged(there.modified, options.unchangedSince);
    };
    if (const auto locked = session.lockedMember(address)) wish.heldToken = locked->lockToken();
    const Result<NamedLock> named = NamedLock::make(session, address, options.token);
    if (!named) return report("store", address.url(), named.error());
    session.leftWork().tell(address.url());
    session.progress().start(address.name());
    std::unique_ptr<vxhost::StreamUpload> input;
    Result<void> stored = session.withRemote(address, [&](Remote& remote) -> Result<void> {
        Result<void> opened = openInput(remote, input);
        if (!opened) return opened;
        return remote.run(storeStream(remote, address.url(), *input, wish));
    });
    session.progress().finish();
    if (const auto missing = asNotFound(stored, {404, 409}); !missing) {
        return report("store", address.url(), explainNoPlace(session, address, missing.error()));
    }
    confirm(session, "stored", address.name());
    return exitDone;
}

}  // namespace quillon::cli
