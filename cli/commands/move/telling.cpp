#include "cli/commands/move/telling.hpp"

namespace quillon::cli {

Events::Manner Telling::manner(bool verbose) const {
    if (json) return Events::Manner::json;
    if (quiet) return Events::Manner::quiet;
    if (dryRun || verbose) return Events::Manner::lines;
    return isMany ? Events::Manner::summary : Events::Manner::quiet;
}

void addTellingOptions(CommandDefinition command, Telling& telling) {
    command.addFlag("-n,--dry-run", telling.dryRun, "Say what would be done, and do nothing");
    command.addFlag("--json", telling.json, "An object a file and line, for other programs");
    command.addFlag("-q,--quiet", telling.quiet, "Tell of failures alone");
}

}  // namespace quillon::cli
