#include "cli/session/confirm.hpp"

#include "cli/terminal/format.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {

void confirm(Session& session, std::string_view deed, std::string_view name,
             std::optional<uint64_t> size) {
    const bool isWanted = isTerminal(stdout) || session.options().verbosity > 0;
    if (!isWanted || session.progress().isSilent()) return;
    session.progress().hide();
    printOut("{} {}{}\n", forOutput(deed), forOutput(name), size ? ", " + shortSize(size) : "");
}

}  // namespace quillon::cli
