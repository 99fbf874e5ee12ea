#include "cli/commands/move/telling.hpp"

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {

Events::Manner Telling::manner(bool verbose) const {
    if (json) return Events::Manner::json;
    if (quiet) return Events::Manner::quiet;
    if (dryRun || verbose) return Events::Manner::lines;
    if (isMany) return Events::Manner::summary;
    return isTerminal(stdout) ? Events::Manner::confirmed : Events::Manner::quiet;
}

void addQuietOption(CommandDefinition command, bool& quiet) {
    command.addFlag("-q,--quiet", quiet, "Tell of failures and warnings alone");
}

void addTellingOptions(CommandDefinition command, Telling& telling) {
    command.addFlag("-n,--dry-run", telling.dryRun, "Say what would be done, and do nothing");
    command.addFlag("--json", telling.json, "An object a file and line, for other programs");
    addQuietOption(command, telling.quiet);
}

}  // namespace quillon::cli
