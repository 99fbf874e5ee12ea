// quillon doctor: what a server does, and what comes of it.
#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/look/diagnosis.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/session/this_machine.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/facts/facts_store.hpp"

namespace quillon::cli {
namespace {

struct DoctorOptions {
    std::string url;
    bool json = false;
    bool noWrite = false;
};

void printFindings(std::string_view title, const std::vector<Finding>& findings) {
    Table table({Align::left, Align::left, Align::left});
    for (const Finding& each : findings) table.add("", each.about + ":", forOutput(each.text));
    printOut("{}\n{}", title, table.text());
}

void print(const Address& address, const Examined& server) {
    printFindings(address.url(), whatItIs(server));
    printFindings("\nWhat it does", whatItDoes(server));
    printFindings("\nWhat quillon does", whatQuillonDoes(server));
    const std::vector<std::string> advice = whatCouldBeSet(server);
    if (advice.empty()) return;
    printOut("\nWhat its administrator could set\n");
    for (const std::string& each : advice) printOut("  - {}\n", each);
}

void addSize(JsonObject& object, const char* key, std::optional<uint64_t> size) {
    if (size) object.addNumber(key, size);
}

// Of what is not known there is no key.
void printJson(const Address& address, const Examined& server) {
    const ServerFacts& facts = server.facts;
    JsonObject object;
    object.addText("url", address.url());
    object.addText("server", facts.server);
    object.addText("dav", facts.dav);
    object.addText("http", facts.http2 ? "2" : "1.1");
    object.addFlag("tls", server.tls);
    object.addText("authentication", server.authentication);
    object.addInteger("skewSeconds", facts.skewSeconds);
    object.addFlag("classTwo", facts.classTwo);
    object.addFlag("depthInfinity", facts.depthInfinity.value_or(false));
    object.addFlag("quota", facts.quota.value_or(false));
    addSize(object, "quotaAvailable", server.state.available);
    addSize(object, "quotaUsed", server.state.used);
    object.addFlag("tagsInProperties", facts.tagsInProperties);
    if (server.triedToWrite) object.addFlag("writable", facts.probed);
    if (facts.probed) {
        const std::pair<const char*, bool> flags[] = {
            {"locks", facts.locks},
            {"weakTags", facts.weakTags},
            {"putTellsTag", facts.putTellsTag},
            {"tagsRepeat", facts.tagsRepeat},
            {"putIfMatch", facts.putIfMatch},
            {"putTagInIf", facts.putTagInIf},
            {"putIfNoneMatch", facts.putIfNoneMatch},
            {"ifMatchHolds", facts.ifMatchHolds},
            {"tagInIfHolds", facts.tagInIfHolds},
            {"deleteIfMatch", facts.deleteIfMatch},
            {"deleteTagInIf", facts.deleteTagInIf},
            {"replacesAtOnce", facts.replacesAtOnce},
        };
        for (const auto& [key, flag] : flags) object.addFlag(key, flag);
        object.addText("dates", datesWord(facts.dates));
    } else if (server.triedToWrite) {
        object.addInteger("refusedWith", server.state.scratchStatus);
    }
    object.addText("replacesBy", guardWord(guardOfReplacing(facts)));
    object.addText("removesBy", guardWord(guardOfRemoving(facts)));
    const std::vector<std::string> advice = whatCouldBeSet(server);
    object.addTexts("settings", {advice.begin(), advice.end()});
    printOut("{}\n", object.text());
}

Result<Examined> examine(Session& session, const Address& address, bool noWrite) {
    return session.withRemote(address, [&](Remote& remote) -> Result<Examined> {
        Examined server;
        server.triedToWrite = !noWrite;
        Result<ServerFacts> facts = remote.run(learnFacts(
            remote, address.url(), noWrite ? FactsFor::looking : FactsFor::showing, &server.state));
        if (!facts) return std::move(facts).error();
        server.facts = std::move(*facts);
        server.tls = address.origin().starts_with("https:");
        server.tlsChecked = !session.options().insecure;
        server.isLocal = isThisMachine(address.host());
        server.authentication = remote.authenticationScheme();
        return server;
    });
}

int runDoctor(Session& session, DoctorOptions& options) {
    const Result<Address> given = parseUrl(session, options.url);
    if (!given) return exitCode(given.error().kind);
    const Address address = given->asCollection();
    Result<Examined> server = examine(session, address, options.noWrite);
    if (!server) {
        Error error = asNotFound(Result<void>(std::move(server).error()), {400, 404}).error();
        return report("examine", address.url(),
                      explainNotOpened(session, address, std::move(error)));
    }
    // Whether tags differ takes more requests than a person waits for: who writes finds it out.
    if (const auto known = findFacts(address.url()); known && server->facts.probed) {
        ServerFacts facts = server->facts;
        facts.tagsDiffer = known->tagsDiffer && !facts.tagsRepeat;
        keepFacts(address.url(), facts);
    }
    if (options.json) {
        printJson(address, *server);
    } else {
        print(address, *server);
    }
    return exitDone;
}

}  // namespace

void addDoctor(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<DoctorOptions>();
    const CommandDefinition command =
        program.addCommand("doctor", "Find out what a server does, and what it could do better");
    command.addOption("URL", options->url, "A collection that you may write to")
        .typeName("")
        .required(!invocation.inShell);
    command.addFlag("--no-write", options->noWrite,
                    "Ask only what needs no scratch member in the collection");
    command.addFlag("--json", options->json, "An object");
    command.setFooter(
        "Tries out what the server does with a scratch member of its own, which is gone\n"
        "afterwards: whether locks keep others out, which conditions are obeyed, whether dates "
        "are\n"
        "kept. What quillon will do about it is told, and what the server's administrator could\n"
        "set. Of a collection that is read only, what can be known without writing is told. What\n"
        "was found out is what put -r goes by from then on.\n\n"
        "Examples:\n"
        "  quillon doctor https://example.org/dav/\n"
        "  quillon doctor --json https://example.org/dav/ | jq -r '.settings[]'\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runDoctor(session, *options); });
}

}  // namespace quillon::cli
