// quillon ls: what a collection holds.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

struct LsOptions {
    std::string url;
    bool details = false;
    bool hidden = false;
    bool json = false;
};

// Of one member; the texts are in the Lines.
struct Line {
    std::string_view name, key;
    Entry entry;
};

struct Lines {
    std::pmr::monotonic_buffer_resource texts;
    std::vector<Line> all;

    std::string_view keep(std::string_view text) {
        auto* kept = static_cast<char*>(texts.allocate(text.size(), 1));
        text.copy(kept, text.size());
        return {kept, text.size()};
    }
};

std::string shownName(std::string_view name, bool isCollection) {
    return forOutput(name) + (isCollection ? "/" : "");
}

std::unique_ptr<Lines> sortedLines(const Listing& listing, bool hidden) {
    auto lines = std::make_unique<Lines>();
    lines->all.reserve(listing.size());
    for (const Entry entry : listing) {
        const std::string name = entry.name();
        if (!hidden && name.starts_with('.')) continue;
        const std::string key = collationKey(name);
        const auto kept = lines->keep(name);
        lines->all.push_back({kept, key == name ? kept : lines->keep(key), entry});
    }
    const auto before = [](const Line& a, const Line& b) {
        return std::tie(a.key, a.name) < std::tie(b.key, b.name);
    };
    // The listing's own order is often this one already.
    if (!std::is_sorted(lines->all.begin(), lines->all.end(), before)) {
        std::sort(lines->all.begin(), lines->all.end(), before);
    }
    return lines;
}

void addRow(Table& table, std::string_view name, bool isCollection, std::optional<uint64_t> size,
            std::optional<Time> modified) {
    table.add(shortSize(size), localDate(modified), shownName(name, isCollection));
}

Table detailTable() {
    return Table({Align::right, Align::left, Align::left});
}

void printJson(const std::vector<Line>& lines) {
    LineOutput output;
    bool first = true;
    for (const Line& line : lines) {
        output.text() += std::exchange(first, false) ? "[" : ",\n ";
        output.text() += describe(line.entry).text();
        output.endLine();
    }
    output.text() += first ? "[]\n" : "]\n";
}

void printTable(const std::vector<Line>& lines) {
    Table table = detailTable();
    for (const Line& line : lines) {
        addRow(table, line.name, line.entry.isCollection(), line.entry.size(),
               line.entry.modified());
    }
    table.print();
}

void printColumns(const std::vector<Line>& lines) {
    std::vector<std::string> names;
    names.reserve(lines.size());
    for (const Line& line : lines) names.push_back(shownName(line.name, line.entry.isCollection()));
    fmt::print("{}", inColumns(names, terminalWidth()));
}

// A name a line for other programs.
void printNames(const std::vector<Line>& lines) {
    LineOutput output;
    for (const Line& line : lines) {
        output.text() += shownName(line.name, line.entry.isCollection()) + '\n';
        output.endLine();
    }
}

void print(const std::vector<Line>& lines, const LsOptions& options) {
    if (options.json) {
        printJson(lines);
    } else if (options.details) {
        printTable(lines);
    } else if (isTerminal(stdout)) {
        printColumns(lines);
    } else {
        printNames(lines);
    }
}

void printMember(const Address& address, const Properties& member, const LsOptions& options) {
    if (options.json) {
        fmt::print("[{}]\n", describe(address.name(), address.url(), member).text());
    } else if (options.details) {
        Table table = detailTable();
        addRow(table, address.name(), false, member.size, member.modified);
        fmt::print("{}", table.text());
    } else {
        fmt::print("{}\n", shownName(address.name(), false));
    }
}

// Nothing when the address names no member, or one that is a collection.
std::optional<Properties> findMember(Session& session, const Address& address) {
    if (!address.namesMember()) return std::nullopt;
    Result<Member> member = session.openMember(address, {.purpose = Purpose::look});
    if (!member) return std::nullopt;
    Result<Properties> properties = member->info();
    const bool isMember = properties && properties->exists && !properties->isCollection;
    return isMember ? std::optional(*properties) : std::nullopt;
}

// A URL without a final slash may mean either: a listing that fails or holds nothing is not enough
// to tell, since some servers list a member as an empty collection.
int runLs(Session& session, LsOptions& options) {
    const Result<Address> address = parseUrl(session, options.url);
    if (!address) return exitCode(address.error().kind);
    const Result<Listing> listing = session.list(address->asCollection());
    const bool unsure =
        listing ? listing->empty()
                : listing.error().kind == Kind::notFound || listing.error().kind == Kind::refused;
    if (unsure) {
        if (const auto member = findMember(session, *address)) {
            printMember(*address, *member, options);
            return exitDone;
        }
    }
    if (!listing) {
        return report("list", address->url(),
                      explainNotOpened(session, address->asCollection(), listing.error()));
    }
    print(sortedLines(*listing, options.hidden)->all, options);
    return exitDone;
}

}  // namespace

void addLs(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<LsOptions>();
    const CommandDefinition command = program.addCommand("ls", "List a collection");
    command.addOption("URL", options->url, "A collection, or one member")
        .typeName("")
        .required(!invocation.inShell);
    command.addFlag("-l,--long", options->details, "Sizes and dates of modification, too");
    command.addFlag("-a,--all", options->hidden, "Names that begin with a dot, too");
    command.addFlag("--json", options->json, "An array of objects");
    command.setFooter(
        "Sub-collections end in \"/\". Names are shown decoded, as get takes them.\n\n"
        "Examples:\n"
        "  quillon ls https://example.org/dav/\n"
        "  quillon ls -l --user ann https://example.org/dav/reports/\n"
        "  quillon ls --json https://example.org/dav/ | jq -r '.[].url'\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLs(session, *options); });
}

}  // namespace quillon::cli
