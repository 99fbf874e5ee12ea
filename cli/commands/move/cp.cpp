// quillon cp: members and collections copied on their server, or to another.
#include <memory>

#include "cli/commands/matching.hpp"
#include "cli/commands/move/transfer.hpp"

namespace quillon::cli {

void addCp(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<TransferOptions>();
    const CommandDefinition command =
        program.addCommand("cp", "Copy members and collections on the server, or to another");
    command
        .addOption("URL... URL", options->operands,
                   "What is copied; then a collection that is there, or the copy's own URL")
        .typeName("")
        .required();
    command.addFlag("-r,--recursive", options->recursive, "Collections, with all that is in them");
    command.addFlag("--force", options->force, "Replace members that are there");
    addMatchOption(command, options->pattern, "copy");
    addTellingOptions(command, options->telling);
    command.setFooter(
        "The server copies by itself what stays on it. From one server to another, or to another\n"
        "user's name there, contents go through this machine, but into no file of it; a copy\n"
        "whose source breaks off is not stored.\n\n"
        "What is there already is left alone. With --force members are replaced; a collection\n"
        "never is: what is only in it stays.\n\n"
        "Examples:\n"
        "  quillon cp https://example.org/dav/a.txt https://example.org/dav/b.txt\n"
        "  quillon cp -r https://example.org/dav/2026/ work:archive/\n"
        "  quillon cp --match '*.csv' https://example.org/dav/ https://example.org/dav/tables/\n");
    whenGiven(command, invocation,
              [options](Session& session) { return transfer(session, Deed::copy, *options); });
}

}  // namespace quillon::cli
