// quillon info: the properties of a member or a collection.
#include <fmt/format.h>

#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
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

void print(const Address& address, const Properties& properties) {
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
    table.add("Methods:", joined(properties.methods));
    fmt::print("{}", table.text());
}

void printJson(const Address& address, const Properties& properties) {
    JsonObject object = describe(address.name(), address.url(), properties);
    if (!properties.displayName.empty()) object.addText("displayName", properties.displayName);
    object.addFlag("locking", properties.canLock);
    object.addTexts("methods", properties.methods);
    fmt::print("{}\n", object.text());
}

Result<Properties> readProperties(Session& session, const Address& address) {
    Result<Member> member = session.openMember(address, {.purpose = Purpose::look});
    if (!member) return std::move(member).error();
    Result<Properties> properties = member->info();
    if (properties && !properties->exists) {
        return localError(Kind::notFound,
                          "The server has nothing at this URL. List the "
                          "collection to see what it holds.");
    }
    return properties;
}

// The parent of a collection need not be one, nor be open to this person.
bool parentMayBeClosed(Kind kind) {
    return kind == Kind::notFound || kind == Kind::refused || kind == Kind::notAuthorized;
}

int runInfo(Session& session, InfoOptions& options) {
    bool isFirst = true;
    const auto show = [&](const Address& address) -> Result<void> {
        Result<Properties> properties = readProperties(session, address);
        if (!properties && address.namesMember() && parentMayBeClosed(properties.error().kind)) {
            Result<Properties> itself = readProperties(session, address.asCollection());
            if (itself) properties = std::move(itself);
        }
        if (!properties) return std::move(properties).error();
        const Address shown = properties->isCollection ? address.asCollection() : address;
        if (options.json) {
            printJson(shown, *properties);
        } else {
            if (!std::exchange(isFirst, false)) fmt::print("\n");
            print(shown, *properties);
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
        "Examples:\n"
        "  quillon info https://example.org/dav/report.txt\n"
        "  quillon info --json https://example.org/dav/report.txt | jq .modified\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runInfo(session, *options); });
}

}  // namespace quillon::cli
