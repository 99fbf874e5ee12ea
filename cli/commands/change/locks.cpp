// quillon locks: who holds what, and how long still.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "cli/commands/change/lock_text.hpp"
#include "cli/commands/command.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/lock_notes.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct LocksOptions {
    std::string url;
    bool json = false;
};

struct ShownLock {
    FoundLock lock;
    std::optional<FoundNote> mine{};  // this person's own note of it
    bool isTold = true;               // by the server
};

// Of the resource, or of a member of the collection.
std::optional<FoundLock> lockNotedOn(const Address& address, const LockNote& note) {
    const std::string asked = address.url();
    const bool isIt = note.url == asked;
    const bool isBelow = !address.namesMember() && note.url.starts_with(asked);
    if (note.token.empty() || (!isIt && !isBelow)) return {};
    const std::string segment = note.url.substr(asked.size());
    if (segment.find('/') != segment.npos) return {};
    return FoundLock{note.url, segment, note.token, {}, {}};
}

// Those that the server tells of, and those that are noted and that it keeps quiet about.
std::vector<ShownLock> withNotes(const Address& address, std::vector<FoundLock> locks) {
    std::vector<ShownLock> shown;
    shown.reserve(locks.size());
    for (FoundLock& lock : locks) shown.push_back({std::move(lock)});
    const Result<std::vector<FoundNote>> notes = findAllNotes();
    if (!notes) {
        report("look for locks of yours", {}, notes.error());
        return shown;
    }
    for (const FoundNote& found : *notes) {
        auto its = std::ranges::find_if(shown, [&](const ShownLock& each) {
            return isNoteOf(found.note, each.lock.url, each.lock.token);
        });
        if (its == shown.end()) {
            std::optional<FoundLock> noted = lockNotedOn(address, found.note);
            if (!noted) continue;
            its = shown.insert(shown.end(), ShownLock{std::move(*noted), {}, false});
        }
        // Of two notes, the one with the text says more.
        if (!its->mine || its->mine->note.text.empty()) its->mine = found;
    }
    return shown;
}

std::string whose(const FoundNote& mine) {
    if (mine.isAlive && mine.note.kind == LockKind::kept) return "yours, kept, in use";
    if (mine.isAlive) return fmt::format("yours, process {}", mine.note.process);
    if (!mine.note.text.empty()) {
        return fmt::format("yours, your text is in {}", mine.note.text.string());
    }
    return mine.note.kind == LockKind::kept ? "yours, kept" : "yours, left";
}

std::string nameOf(const Address& address, const FoundLock& lock) {
    if (!lock.segment.empty()) return vxhost::decodeSegment(lock.segment);
    return address.namesMember() ? address.name() : "./";
}

// What a server chose and is no safe word is not for a terminal, nor to be pasted.
std::string_view shownToken(const FoundLock& lock) {
    return tokenShowable(lock.token) ? std::string_view(lock.token) : "";
}

std::string whoseText(const ShownLock& shown) {
    if (!shown.mine) return "";
    return whose(*shown.mine) + (shown.isTold ? "" : "; the server tells of none");
}

void print(const Address& address, const std::vector<ShownLock>& locks) {
    Table table({Align::left, Align::left, Align::left, Align::left, Align::left});
    for (const ShownLock& each : locks) {
        std::string how = each.lock.isDeep ? " (all that is in it)" : "";
        if (each.lock.isShared) how += " (shared)";
        const std::string_view token = shownToken(each.lock);
        table.add(forOutput(nameOf(address, each.lock)) + how,
                  each.isTold ? forOutput(each.lock.owner) : "-", endText(each.lock),
                  forOutput(whoseText(each)), token.empty() ? "-" : token);
    }
    writeOut(table.text());
}

JsonObject jsonOf(const ShownLock& shown) {
    const FoundLock& lock = shown.lock;
    JsonObject object;
    object.addText("url", lock.url);
    object.addText("owner", lock.owner);
    if (const auto end = endOf(lock)) {
        object.addText("until", rfc3339(*end));
    }
    object.addFlag("shared", lock.isShared);
    object.addFlag("infinite", lock.isDeep);
    if (const std::string_view token = shownToken(lock); !token.empty()) {
        object.addText("token", std::string(token));
    }
    object.addFlag("told", shown.isTold);
    object.addFlag("mine", shown.mine.has_value());
    if (!shown.mine) return object;
    object.addFlag("running", shown.mine->isAlive);
    object.addInteger("process", shown.mine->note.process);
    if (const auto& text = shown.mine->note.text; !text.empty()) {
        object.addText("text", text.string());
    }
    return object;
}

void printJson(const std::vector<ShownLock>& locks) {
    std::string text;
    for (const ShownLock& each : locks) {
        text += (text.empty() ? "[" : ",\n ") + jsonOf(each).text();
    }
    printOut("{}]\n", text.empty() ? "[" : text);
}

int runLocks(Session& session, LocksOptions& options) {
    const Result<Address> address = parseUrl(session, options.url);
    if (!address) return exitCode(address.error().kind);
    using Found = Result<std::optional<std::vector<FoundLock>>>;
    Found found = session.withRemote(*address, [&](Remote& remote) -> Found {
        return remote.run(findLocks(remote, address->url()));
    });
    if (!found) return report("look for locks on", address->url(), found.error());
    if (!*found)
        complain("this server does not tell of locks; yours are those that are noted here");
    const std::vector<ShownLock> locks =
        withNotes(*address, std::move(*found).value_or(std::vector<FoundLock>()));
    if (options.json) {
        printJson(locks);
    } else {
        print(*address, locks);
    }
    return exitDone;
}

}  // namespace

void addLocks(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<LocksOptions>();
    const CommandDefinition command =
        program.addCommand("locks", "Show who holds locks, and how long still");
    command.addOption("URL", options->url, "A member; or a collection, for it and its members")
        .typeName("")
        .required(!invocation.inShell);
    command.addFlag("--json", options->json, "An array of objects");
    command.setFooter(
        "A line a lock: what it is on, who holds it, until when, whether it is yours, and its\n"
        "token. Yours are those that quillon took on this machine: for a command that still runs,\n"
        "or by lock without a command. What a command held that was killed is given back by the\n"
        "next one on that server; where it also left a text of yours that is not stored, both are\n"
        "told, and unlock --mine gives the lock back.\n\n"
        "Examples:\n"
        "  quillon locks https://example.org/dav/reports/\n"
        "  quillon locks --json https://example.org/dav/ | jq -r '.[] | select(.mine) | .url'\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLocks(session, *options); });
}

}  // namespace quillon::cli
