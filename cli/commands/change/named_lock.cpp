#include "cli/commands/change/named_lock.hpp"

#include <utility>

#include "cli/commands/change/change.hpp"
#include "cli/terminal/suggestion.hpp"
#include "platform/base/status.hpp"

namespace quillon::cli {

const std::string_view ownLockHelp =
    "A lock of yours that quillon lock left on the member is used by itself, and stays, as one\n"
    "does that --token names: quillon unlock takes it off.\n";

OptionDefinition addTokenOption(CommandDefinition command, std::string& token) {
    const auto take = [&token](const std::string& value) -> Result<void> {
        if (!value.empty() && !isLockToken(value)) {
            return localError(Kind::usage,
                              "This is no lock token. One is a URI, such as "
                              "opaquelocktoken:e71d4fae-5dec-22d6-fea5-00a0c91e6be4. quillon lock "
                              "prints them, and quillon locks shows them.");
        }
        token = value;
        return {};
    };
    return command
        .addOption("--token", take, "Work under the lock of this token, and leave it there")
        .typeName("TOKEN")
        .notEmpty();
}

Result<NamedLock> NamedLock::make(Session& session, const Address& address,
                                  const std::string& token) {
    if (token.empty()) return NamedLock(nullptr);
    const auto locked = session.lockedMember(address);
    if (locked && locked->lockToken() != token) {
        return localError(Kind::usage, "The shell holds its lock already, by another token.");
    }
    session.ownLocks().name(address.url(), token);
    return NamedLock(&session);
}

NamedLock::NamedLock(NamedLock&& other) noexcept
    : session_(std::exchange(other.session_, nullptr)) {}

NamedLock::~NamedLock() {
    if (session_) session_->ownLocks().forgetNames();
}

Result<void> NamedLock::requireUsed(const Member& member) const {
    if (!session_ || member.locked()) return {};
    Error error = localError(Kind::notFound, vxhost::statusText(vxhost::WEBLNK_NO_SUCH_LOCK));
    error.code = Code::noSuchLock;
    return error;
}

int takeOffOwnLock(Session& session, const Address& address, Member& member) {
    if (!member.usesOwnLock()) return exitDone;
    const std::string token = member.lockToken();
    Result<void> back = member.giveBackOwnLock();
    if (!back && !lockIsGone(back.error())) {
        return reportNotUnlocked(address, std::move(back).error());
    }
    session.leftWork().noteLockOff(address.url(), token);
    return exitDone;
}

}  // namespace quillon::cli
