// quillon open: a member in the desktop's program, stored whenever that saves.
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "cli/commands/change/change.hpp"
#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/terminal/foreground.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "client/memory/remembered_copy.hpp"

namespace quillon::cli {
namespace {

constexpr int tickMs = 1000;

// $QUILLON_OPENER may hold options, as a shell reads them.
std::vector<std::string> openerWords(const std::string& file) {
    const char* opener = std::getenv("QUILLON_OPENER");
    if (opener == nullptr || *opener == '\0') return {"xdg-open", file};
    return {"sh", "-c", std::string(opener) + " \"$@\"", opener, file};
}

// Stores what a program saves, once it has left the file alone for a second: one that is still
// being written is half a content.
class SaveWatch {
public:
    SaveWatch(const WorkCopy& copy, const WhileHeld& held)
        : copy_(copy), held_(held), seen_(lookAtFile(copy.file())), stored_(seen_) {}

    void tick() {
        held_.eachSecond();
        const std::optional<LocalEntry> now = lookAtFile(copy_.file());
        const bool isQuiet = isSame(now, seen_);
        seen_ = now;
        if (!isQuiet || isSame(now, stored_)) return;
        stored_ = now;  // also after a failure: the next save is tried again
        held_.store();
    }

private:
    static bool isSame(const std::optional<LocalEntry>& a, const std::optional<LocalEntry>& b) {
        return a && b ? isSameVersion(*a, *b) : a.has_value() == b.has_value();
    }

    const WorkCopy& copy_;
    const WhileHeld& held_;
    std::optional<LocalEntry> seen_, stored_;
};

// Until a line has come, or the input has ended.
void awaitEnter(SaveWatch& watch) {
    for (char byte = 0; byte != '\n' && !interrupted();) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = poll(&input, 1, tickMs);
        if (ready < 0 && errno != EINTR) return;
        if (ready == 0) watch.tick();
        if (ready <= 0) continue;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got == 0 || (got < 0 && errno != EINTR)) return;
    }
}

// What was saved last is stored behind this, as of any changer.
int runOpener(const WorkCopy& copy, const WhileHeld& held) {
    SaveWatch watch(copy, held);
    const int code =
        runForeground(openerWords(copy.file()), copy.descriptor(), [&watch] { watch.tick(); });
    if (code != 0) {
        if (!interrupted()) complain(fmt::format("the program ended with the code {}", code));
        return exitLocal;
    }
    complain("each save is stored; press Enter here when you have closed the file");
    awaitEnter(watch);
    return exitDone;
}

int runOpen(Session& session, std::string& url, const std::string& token) {
    const Result<Address> address = parseUrl(session, url);
    if (!address) return exitCode(address.error().kind);
    session.leftWork().tellAll();
    return changeMember(session, *address, {.attempt = "store", .token = token, .run = runOpener});
}

}  // namespace

void addOpen(CommandDefinition program, Invocation& invocation) {
    auto url = std::make_shared<std::string>();
    const CommandDefinition command =
        program.addCommand("open", "Open a member in the desktop's program, and store each save");
    addUrl(command, *url, "A member; one that does not exist yet begins empty");
    auto token = std::make_shared<std::string>();
    addTokenOption(command, *token);
    command.setFooter(
        "The member is locked, fetched, and opened by xdg-open, or $QUILLON_OPENER. Each save is\n"
        "stored, until you press Enter, or the input ends; then the lock is given back. Close the\n"
        "file in its program before: what it saves later is not stored. What cannot be stored is\n"
        "kept, as edit keeps it.\n\n" +
        std::string(ownLockHelp) +
        "\n"
        "Examples:\n"
        "  quillon open https://example.org/dav/plan.odt\n"
        "  QUILLON_OPENER=gimp quillon open https://example.org/dav/logo.xcf\n");
    whenGiven(command, invocation,
              [url, token](Session& session) { return runOpen(session, *url, *token); });
}

}  // namespace quillon::cli
