#include "cli/commands/move/transfer_teller.hpp"

#include "cli/terminal/report.hpp"

namespace quillon::cli {

void TransferTeller::fail(const std::string& url, const Error& error) {
    const int failed = report(attempt(), url, error);
    if (code_ == exitDone || failed == exitInterrupted) code_ = failed;
    if (failed == exitInterrupted) return;
    events_.tell({"failed", url, {}, {}, error.sentences.front()});
}

void TransferTeller::noteFailure(int code) {
    if (code_ == exitDone) code_ = code;
}

}  // namespace quillon::cli
