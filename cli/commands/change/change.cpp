#include "cli/commands/change/change.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/confirm.hpp"
#include "cli/terminal/last_words.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/local_file.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

// One change, from the member's content to the stored one.
class Change {
public:
    Change(Session& session, const Address& address, const Changer& changer, Member& member,
           Hold& hold, std::optional<WrittenNote>& note)
        : session_(session),
          address_(address),
          url_(address.url()),
          changer_(changer),
          member_(member),
          hold_(hold),
          note_(note) {}

    int run(const std::string& name) {
        if (Result<void> fetched = fetch(name); !fetched) return reportFailure(fetched.error());
        Result<WorkCopy> copy = WorkCopy::make(member_.file(), name);
        if (!copy) return reportFailure(copy.error());
        // From here on the file may hold work of the person's own: the note names it for who comes
        // after a kill -9, the last words for the person who ends this by a second signal.
        noteVersion(copy->file());
        const LastWords words(
            fmt::format("quillon: your version is in {}\n", harmless(copy->file().string())));
        const WhileHeld held{[this] { renewLocks(); }, [&] { return storeWhileOpen(*copy, name); }};
        const int code = changer_.run(*copy, held);
        const Result<bool> changed = copy->changed();
        const int end =
            !changed ? reportFailure(changed.error()) : storeIfChanged(*copy, code, *changed, name);
        // The copy's destructor removes its folder: what shall stay is moved out before.
        if (interrupted()) saveLeftovers(*copy);
        if (end != exitDone && (!changed || *changed)) saveVersion(*copy);
        return end;
    }

private:
    // The person's own lock is not left behind by this process.
    std::string heldToken() const {
        return member_.usesOwnLock() ? std::string() : member_.lockToken();
    }

    // For who comes after this process, should it be killed.
    void noteVersion(const fs::path& text) {
        Result<WrittenNote> written = WrittenNote::write({url_, heldToken(), {}, text, getpid()});
        if (written) {
            note_.emplace(std::move(*written));
        } else {
            report("note where your text is", {}, written.error());
        }
    }

    ExitCode reportFailure(const Error& error) { return report(changer_.attempt, url_, error); }

    Result<void> fetch(const std::string& name) {
        if (hold_.isNew()) return {};
        session_.progress().start(name);
        Result<Fetched> fetched = member_.fetch();
        session_.progress().finish();
        if (!fetched) return std::move(fetched).error();
        if (fetched->endProven) return {};
        return localError(
            Kind::network,
            "The server tells neither the length nor the size of the content, so that "
            "a part of it could be stored as the whole. Look at it with quillon get.");
    }

    void renewLocks() {
        member_.renewLock();
        session_.renewLocks();
    }

    // The program may write on while it is stored: what goes out is a copy.
    int storeWhileOpen(WorkCopy& copy, const std::string& name) {
        const Result<std::optional<fs::path>> taken = copy.takeSnapshot();
        if (!taken) return reportFailure(taken.error());
        if (!*taken) return exitDone;
        int code = store(**taken, name);
        if (code == exitDone && !member_.locked()) code = lookBehind(**taken, name);
        copy.endSnapshot(code == exitDone);
        if (code == exitDone) printOut("{}: stored\n", url_);
        flushOut();
        return code;
    }

    // Without a lock the next store goes by what is there now. That has to be what was stored: what
    // came between would be overwritten.
    int lookBehind(const fs::path& stored, const std::string& name) {
        Result<void> known = member_.noteDate();
        if (known) known = fetch(name);
        const Result<bool> same = known ? sameContent(stored, member_.file()) : known.error();
        if (same && *same) return exitDone;
        conflict_ = same ? localError(Kind::changedOnServer,
                                      "Somebody stored another content right behind yours; nothing "
                                      "is stored any more. Fetch the member again and bring both "
                                      "versions together.")
                         : same.error();
        return reportFailure(*conflict_);
    }

    int storeIfChanged(const WorkCopy& copy, int code, bool changed, const std::string& name) {
        if (interrupted()) return reportFailure(interruption());
        if (code != exitDone) {
            if (changed || changer_.tellsUnchanged)
                complain(fmt::format("{}: nothing was stored", url_));
            return code;
        }
        if (changed) {
            const int stored = store(copy.file(), name);
            if (stored == exitDone) confirm(session_, "stored", name);
            return stored;
        }
        if (changer_.tellsUnchanged) printOut("{}: unchanged, nothing was stored\n", url_);
        return exitDone;
    }

    int store(const fs::path& file, const std::string& name) {
        if (conflict_) return reportFailure(*conflict_);
        session_.progress().start(name);
        Result<void> stored = member_.copyFrom(file);
        if (stored) stored = hold_.store();
        session_.progress().finish();
        if (!stored) return reportFailure(stored.error());
        if (hold_.storedAnew()) {
            complain(fmt::format("{}: somebody had removed it; it was stored anew", url_));
        }
        return exitDone;
    }

    static void saveLeftovers(const WorkCopy& copy) {
        for (const fs::path& path : copy.saveLeftovers()) {
            complain(fmt::format("what the editor left is in {}", path.string()));
        }
    }

    void saveVersion(const WorkCopy& copy) {
        const Result<fs::path> saved = copy.save();
        if (saved) return complain(fmt::format("your version is in {}", saved->string()));
        report("keep your version", {}, saved.error());
        complain(fmt::format("your version stays in {}", copy.file().string()));
        // An orderly end would remove the file with the cache. The lock is given back here, since
        // no destructor runs any more.
        Result<void> gone = hold_.release();
        if (!gone) {
            reportNotUnlocked(address_, std::move(gone).error());
        } else if (note_) {
            note_->leaveText();
        }
        std::_Exit(exitLocal);
    }

    Session& session_;
    const Address& address_;
    const std::string url_;
    const Changer& changer_;
    Member& member_;
    Hold& hold_;
    std::optional<WrittenNote>& note_;
    std::optional<Error> conflict_;  // after which nothing may be stored
};

}  // namespace

int changeMember(Session& session, const Address& address, const Changer& changer) {
    const auto member = session.member(address);
    if (!member) {
        return report(changer.attempt, address.url(),
                      explainNoPlace(session, address, member.error()));
    }
    const Result<NamedLock> named = NamedLock::make(session, address, changer.token);
    if (!named) return report(changer.attempt, address.url(), named.error());
    Result<Hold> hold = Hold::take(**member, Purpose::fetch);
    if (!hold) return report(changer.attempt, address.url(), hold.error());
    const Result<void> used = named->requireUsed(**member);
    if (!used) return report(changer.attempt, address.url(), used.error());
    const bool isTaken = (*member)->locked() && !(*member)->usesOwnLock();
    if (isTaken) session.leftWork().noteLockTaken(address.url());
    // The note outlives the change, since it goes only when the lock is off.
    std::optional<WrittenNote> note;
    const int code = Change(session, address, changer, **member, *hold, note).run(address.name());
    return releaseHold(*hold, address, code, note ? &*note : nullptr);
}

ExitCode reportNotUnlocked(const Address& address, Error error) {
    if (error.kind == Kind::interrupted) error.kind = Kind::network;
    return report("unlock", address.url(), error);
}

int releaseHold(Hold& hold, const Address& address, int code, WrittenNote* note) {
    Result<void> gone = hold.release();
    if (gone) return code;
    if (note != nullptr) note->leave();
    const ExitCode failed = reportNotUnlocked(address, std::move(gone).error());
    return code == exitDone ? failed : code;
}

}  // namespace quillon::cli
