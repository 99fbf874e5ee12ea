#include "cli/hold_member.hpp"

#include "cli/report.hpp"

namespace quillon::cli {

int released(Hold& hold, const Address& address, int code) {
    const Result<void> gone = hold.release();
    if (gone) return code;
    const ExitCode failed = report("unlock", address.url(), gone.error());
    return code == EXIT_DONE ? failed : code;
}

}  // namespace quillon::cli
