// quillon encode: a password in the form in which the files of sites store it.
#include <unistd.h>

#include "cli/commands/command.hpp"
#include "cli/session/prompt.hpp"
#include "cli/session/secret_file.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "client/password.hpp"

namespace quillon::cli {
namespace {

Result<Secret> password(const CommonOptions& options) {
    if (!options.passwordFile.empty()) return readSecretFile(options.passwordFile, "password");
    return isatty(STDIN_FILENO) != 0 ? promptSecret("Password: ") : readSecretFile("-", "password");
}

int runEncode(Session& session) {
    const Result<Extension> extension = session.extension(session.options());
    if (!extension) return report("encode a password", {}, extension.error());
    const Result<Secret> clear = password(session.options());
    if (!clear) return report("encode a password", {}, clear.error());
    const Result<std::string> encoded = encodePassword(*extension, *clear);
    if (!encoded) return report("encode a password", {}, encoded.error());
    printOut("{}\n", *encoded);
    return exitDone;
}

}  // namespace

void addEncode(CommandDefinition program, Invocation& invocation) {
    const CommandDefinition command =
        program.addCommand("encode", "Encode a password for a site's file");
    command.setFooter(
        "The password comes from the terminal, from the first line of standard input, or from\n"
        "--password-file. Only you can use what is printed: it is encrypted under your own key.\n\n"
        "Examples:\n"
        "  quillon encode\n"
        "  pass show dav | quillon encode\n");
    whenGiven(command, invocation, runEncode);
}

}  // namespace quillon::cli
