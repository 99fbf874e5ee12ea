#include "cli/commands/hold_member.hpp"

#include <utility>

#include "cli/terminal/report.hpp"

namespace quillon::cli {

ExitCode reportNotUnlocked(const Address& address, Error error) {
    if (error.kind == Kind::interrupted) error.kind = Kind::network;
    return report("unlock", address.url(), error);
}

int released(Hold& hold, const Address& address, int code, WrittenNote* note) {
    Result<void> gone = hold.release();
    if (gone) return code;
    if (note != nullptr) note->leave();
    const ExitCode failed = reportNotUnlocked(address, std::move(gone).error());
    return code == EXIT_DONE ? failed : code;
}

}  // namespace quillon::cli
