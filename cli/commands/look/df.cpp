// quillon df: how much room there is.
#include <fmt/format.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/remote/quota.hpp"

namespace quillon::cli {
namespace {

struct DfOptions {
    std::vector<std::string> urls;
    bool forPeople = false;
    bool json = false;
};

class Rooms {
public:
    Rooms(Session& session, const DfOptions& options)
        : options_(options), servers_(session.servers()) {}

    Result<void> ask(const Address& collection) {
        Result<Quota> quota = servers_.with(collection, [&](Remote& remote) -> Result<Quota> {
            return remote.run(askQuota(remote, collection.url()));
        });
        if (!quota) return std::move(quota).error();
        if (!quota->isTold()) {
            return localError(Kind::refused,
                              "The server tells no quota of this collection (RFC 4331): how much "
                              "room there is cannot be known from here.");
        }
        if (options_.json) {
            JsonObject object;
            object.addText("url", collection.url());
            object.addNumber("used", quota->used);
            object.addNumber("available", quota->available);
            printOut("{}\n", object.text());
        } else {
            table_.add(text(sizeOf(*quota)), text(quota->used), text(quota->available),
                       share(*quota), forOutput(collection.url()));
            ++rows_;
        }
        return {};
    }

    void print() const {
        if (rows_ > 0) table_.print();
    }

private:
    static Table tableWithTitles() {
        Table table({Align::right, Align::right, Align::right, Align::right, Align::left});
        table.add("Size", "Used", "Available", "Use%", "URL");
        return table;
    }
    static std::optional<uint64_t> sizeOf(const Quota& quota) {
        if (!quota.available || !quota.used) return std::nullopt;
        return *quota.available + *quota.used;
    }
    static std::string share(const Quota& quota) {
        const std::optional<uint64_t> size = sizeOf(quota);
        if (!size || *size == 0) return "-";
        return fmt::format("{:.0f}%",
                           100.0 * static_cast<double>(*quota.used) / static_cast<double>(*size));
    }
    std::string text(std::optional<uint64_t> bytes) const {
        return options_.forPeople || !bytes ? shortSize(bytes) : std::to_string(*bytes);
    }

    const DfOptions& options_;
    Servers& servers_;
    Table table_ = tableWithTitles();
    size_t rows_ = 0;
};

int runDf(Session& session, DfOptions& options) {
    if (options.urls.empty()) options.urls.emplace_back();
    Rooms rooms(session, options);
    const int code =
        forEachUrl(session, options.urls, "tell the room in",
                   [&](const Address& address) { return rooms.ask(address.asCollection()); });
    rooms.print();
    return code;
}

}  // namespace

void addDf(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<DfOptions>();
    const CommandDefinition command = program.addCommand("df", "Tell how much room there is");
    command.takeShortHelp();
    addUrls(command, options->urls, "Collections").required(!invocation.inShell);
    command.addFlag("-h,--human-readable", options->forPeople, "Sizes for people: 12.3 MiB");
    command.addFlag("--json", options->json, "An object a line");
    command.setFooter(
        "As the server tells its quota (RFC 4331), in bytes. What it does not tell is \"-\", and "
        "null in JSON.\nWhere it tells none at all, the exit code is 1.\n\n"
        "Examples:\n"
        "  quillon df -h https://example.org/dav/\n"
        "  quillon df --json https://example.org/dav/ | jq .available\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runDf(session, *options); });
}

}  // namespace quillon::cli
