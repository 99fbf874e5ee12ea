// quillon edit: a member in the person's editor.
#include <fmt/format.h>

#include <memory>

#include "cli/commands/change/change.hpp"
#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/terminal/foreground.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

// An editor's exit code says no more than that it failed.
int runEditor(const WorkCopy& copy, const WhileHeld& held) {
    const int code = runForeground(editorWords(copy.file()), copy.descriptor(), held.eachSecond);
    if (code == 0) return exitDone;
    if (!interrupted()) complain(fmt::format("the editor ended with the code {}", code));
    return exitLocal;
}

int runEdit(Session& session, std::string& url, const std::string& token) {
    const Result<Address> address = parseUrl(session, url);
    if (!address) return exitCode(address.error().kind);
    session.leftWork().tellAll();
    return changeMember(
        session, *address,
        {.attempt = "edit", .tellsUnchanged = true, .token = token, .run = runEditor});
}

}  // namespace

void addEdit(CommandDefinition program, Invocation& invocation) {
    auto url = std::make_shared<std::string>();
    const CommandDefinition command = program.addCommand("edit", "Change a member in your editor");
    addUrl(command, *url, "A member; one that does not exist yet begins empty");
    auto token = std::make_shared<std::string>();
    addTokenOption(command, *token);
    auto quiet = std::make_shared<bool>(false);
    addQuietOption(command, *quiet);
    command.setFooter(
        "The member is locked, fetched, opened in $VISUAL, $EDITOR or vi, stored when it was\n"
        "changed, and unlocked; until then its lock is renewed. Where the server has no locks, a\n"
        "change that somebody else made meanwhile is noticed before anything is stored. Whenever\n"
        "your changes cannot be stored, they are kept in a local file, which the message names.\n"
        "When quillon itself was killed, the next command on the member, and the next edit, say\n"
        "where your text is and how to take the lock off.\n\n" +
        std::string(ownLockHelp) +
        "\n"
        "An editor must wait until you are done: EDITOR=\"code --wait\", for example.\n\n"
        "Examples:\n"
        "  quillon edit https://example.org/dav/plan.txt\n"
        "  EDITOR=nano quillon edit https://example.org/dav/plan.txt\n");
    whenGiven(command, invocation, [url, token, quiet](Session& session) {
        session.progress().setSilent(*quiet);
        return runEdit(session, *url, *token);
    });
}

}  // namespace quillon::cli
