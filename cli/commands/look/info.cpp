// quillon info: the properties of a member or a collection.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands/change/lock_text.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/look/member_locks.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

struct InfoOptions {
    std::vector<std::string> urls;
    bool json = false;
};

std::string joined(const std::vector<std::string_view>& words) {
    return fmt::format("{}", fmt::join(words, ", "));
}

// What is known of a resource; its locks where the server tells of them, and why they cannot be
// read where that is so.
struct Known {
    Properties properties;
    Result<std::optional<std::vector<FoundLock>>> locks;
};

std::string lockLine(const std::vector<FoundLock>& locks) {
    if (locks.empty()) return "no";
    OwnNotes notes;
    std::string line;
    for (const FoundLock& lock : locks) {
        if (!line.empty()) line += "; ";
        const std::string holder = holderText(lock);
        line += (holder.empty() ? "yes" : holder) + (notes.isMine(lock) ? ", yours" : "");
    }
    return forOutput(line);
}

void print(const Address& address, const Known& known) {
    const Properties& properties = known.properties;
    Table table({Align::left, Align::left});
    table.add("Name:", forOutput(address.name()));
    if (!properties.displayName.empty()) {
        table.add("Called:", forOutput(properties.displayName));
    }
    table.add("URL:", address.url());
    table.add("Type:", properties.isCollection ? "collection" : "file");
    if (!properties.isCollection) table.add("Size:", longSize(properties.size));
    table.add("Created:", longDate(properties.created));
    table.add("Modified:", longDate(properties.modified));
    table.add("Locking:", properties.canLock ? "yes" : "no");
    if (!known.locks) table.add("Locked:", "unknown");
    if (known.locks && *known.locks) table.add("Locked:", lockLine(**known.locks));
    table.add("Methods:", joined(properties.methods));
    writeOut(table.text());
}

void printJson(const Address& address, const Known& known) {
    const Properties& properties = known.properties;
    JsonObject object = describe(address.name(), address.url(), properties);
    if (!properties.displayName.empty()) object.addText("displayName", properties.displayName);
    object.addFlag("locking", properties.canLock);
    if (known.locks && *known.locks) {
        OwnNotes notes;
        addLocks(object, **known.locks, notes);
    }
    object.addTexts("methods", properties.methods);
    printOut("{}\n", object.text());
}

// Where the answer with all properties cannot be read for one of them, those that are shown are
// asked for by their names.
Result<Properties> readNamed(Session& session, const Address& address, const Member& member) {
    const auto found = session.servers().look(address, {.created = true});
    if (!found) return found.error();
    Properties properties = member.allowed();
    properties.exists = found->has_value();
    if (!*found) return properties;
    const Resource& resource = **found;
    properties.isCollection = resource.isCollection;
    properties.size = resource.size;
    properties.created = resource.created;
    properties.modified = resource.modified;
    return properties;
}

Result<Known> readProperties(Session& session, const Address& address) {
    Result<Member> member = session.openMember(address, {.purpose = Purpose::inspect});
    if (!member) return std::move(member).error();
    Result<Properties> properties = member->info();
    if (!properties && properties.error().code == Code::unreadable) {
        Result<Properties> named = readNamed(session, address, *member);
        if (named) properties = std::move(named);
    }
    if (properties && !properties->exists) {
        return localError(Kind::notFound,
                          "The server has nothing at this URL. List the "
                          "collection to see what it holds.");
    }
    if (!properties) return std::move(properties).error();
    auto locks = member->findLocks();
    if (!locks && locks.error().kind == Kind::interrupted) return std::move(locks).error();
    return Known{std::move(*properties), std::move(locks)};
}

// The parent of a collection need not be one, nor be open to this person.
bool parentMayBeClosed(Kind kind) {
    return kind == Kind::notFound || kind == Kind::refused || kind == Kind::notAuthorized;
}

int runInfo(Session& session, InfoOptions& options) {
    bool isFirst = true;
    const auto show = [&](const Address& address) -> Result<void> {
        Result<Known> known = readProperties(session, address);
        if (!known && address.namesMember() && parentMayBeClosed(known.error().kind)) {
            Result<Known> itself = readProperties(session, address.asCollection());
            if (itself) known = std::move(itself);
        }
        if (!known) return std::move(known).error();
        const Address shown = known->properties.isCollection ? address.asCollection() : address;
        // Who cannot know of locks may know of the rest.
        if (!known->locks) {
            reportBeside(fmt::format("the locks of {} could not be read", shown.url()),
                         known->locks.error());
        }
        if (options.json) {
            printJson(shown, *known);
        } else {
            if (!std::exchange(isFirst, false)) printOut("\n");
            print(shown, *known);
        }
        return {};
    };
    return forEachUrl(session, options.urls, "read the properties of", show);
}

}  // namespace

void addInfo(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<InfoOptions>();
    const CommandDefinition command = program.addCommand("info", "Show the properties of members");
    addUrls(command, options->urls, "Members or collections");
    command.addFlag("--json", options->json, "An object each, one a line");
    command.setFooter(
        "What is locked is told with who holds it, until when, and whether it is yours, as a note\n"
        "here says: in JSON \"locked\", \"holder\", \"until\" and \"mine\" of the first, and\n"
        "\"locks\", a list of all. Of a server that does not tell of locks nothing is said; where "
        "they\n"
        "cannot be read, that is said on standard error.\n\n"
        "Examples:\n"
        "  quillon info https://example.org/dav/report.txt\n"
        "  quillon info --json https://example.org/dav/report.txt | jq .modified\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runInfo(session, *options); });
}

}  // namespace quillon::cli
