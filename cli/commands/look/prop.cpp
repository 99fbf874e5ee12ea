// quillon prop: any property of a member or a collection.
#include <fmt/format.h>

#include <memory>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/property.hpp"
#include "platform/http/headers.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/active_lock.hpp"

namespace quillon::cli {
namespace {

struct PropOptions {
    std::string action, url, token;
    std::vector<std::string> words;  // names; of set, each with its value behind it
    bool xml = false, json = false;
};

Result<std::vector<PropertyName>> parseNames(const std::vector<std::string>& words) {
    std::vector<PropertyName> names;
    for (const std::string& word : words) {
        Result<PropertyName> name = parsePropertyName(word);
        if (!name) return std::move(name).error();
        names.push_back(std::move(*name));
    }
    return names;
}

Result<std::vector<PropertyChange>> parseChanges(const PropOptions& options) {
    const bool sets = options.action == "set";
    const size_t step = sets ? 2 : 1;
    if (options.words.empty() || options.words.size() % step != 0) {
        return localError(Kind::usage, sets ? "Each property needs a value behind its name."
                                            : "Name the properties that are to go.");
    }
    std::vector<PropertyChange> changes;
    for (size_t i = 0; i < options.words.size(); i += step) {
        Result<PropertyName> name = parsePropertyName(options.words[i]);
        if (!name) return std::move(name).error();
        PropertyChange change{std::move(*name), {}, options.xml};
        if (sets) change.value = options.words[i + 1];
        if (const Result<void> valid = checkValue(change); !valid) {
            return localError(Kind::usage,
                              fmt::format("The value of {} cannot be sent. {}",
                                          shownName(change.name), valid.error().sentences.front()));
        }
        changes.push_back(std::move(change));
    }
    return changes;
}

JsonObject jsonOf(const Property& property, bool withValue) {
    JsonObject object;
    object.addText("namespace", property.name.nameSpace);
    object.addText("name", property.name.local);
    if (!withValue) return object;
    if (!vxhost::isSuccess(property.status)) {
        object.addInteger("status", property.status);
        return object;
    }
    object.addFlag("xml", property.isXml);
    object.addText("value", property.value);
    return object;
}

void printJson(const std::vector<Property>& properties, bool withValues) {
    std::string text;
    for (const Property& each : properties) {
        text += (text.empty() ? "[" : ",\n ") + jsonOf(each, withValues).text();
    }
    printOut("{}]\n", text.empty() ? "[" : text);
}

void printAll(const std::vector<Property>& properties, bool withValues) {
    if (!withValues) {
        for (const Property& each : properties) printOut("{}\n", forOutput(shownName(each.name)));
        return;
    }
    Table table({Align::left, Align::left});
    for (const Property& each : properties) {
        if (!vxhost::isSuccess(each.status)) continue;
        const std::string value = forOutput(vxhost::singleBlanks(each.value));  // in one line
        table.add(forOutput(shownName(each.name)), value.empty() ? "-" : value);
    }
    writeOut(table.text());
}

// Of those that were asked for by name: 404 means that there is none.
int reportMissing(const Address& address, const std::vector<Property>& properties) {
    int code = exitDone;
    for (const Property& each : properties) {
        if (vxhost::isSuccess(each.status)) continue;
        const bool isMissing = each.status == 404;
        Error error =
            localError(isMissing ? Kind::notFound : Kind::refused,
                       isMissing ? "It has no such property."
                                 : fmt::format("The server refused it with {}.", each.status));
        const int its =
            report(fmt::format("read {} of", shownName(each.name)), address.url(), error);
        if (code == exitDone) code = its;
    }
    return code;
}

int readThem(Session& session, const Address& address, const PropOptions& options) {
    const Result<std::vector<PropertyName>> names = parseNames(options.words);
    if (!names) return report("read properties of", address.url(), names.error());
    const bool lists = options.action == "ls";
    const AskedFor what = !names->empty() ? AskedFor::these
                          : lists         ? AskedFor::names
                                          : AskedFor::all;
    const auto found =
        session.withRemote(address, [&](Remote& remote) -> Result<std::vector<Property>> {
            return remote.run(readProperties(remote, address.url(), what, *names));
        });
    if (!found) return report("read properties of", address.url(), found.error());
    if (options.json) {
        printJson(*found, !lists);
    } else if (names->size() == 1 && found->size() == 1) {
        if (vxhost::isSuccess(found->front().status)) {
            printOut("{}\n", forOutput(found->front().value));
        }
    } else {
        printAll(*found, !lists);
    }
    return what == AskedFor::these ? reportMissing(address, *found) : exitDone;
}

int changeThem(Session& session, const Address& address, const PropOptions& options) {
    const Result<std::vector<PropertyChange>> changes = parseChanges(options);
    if (!changes) return report("change properties of", address.url(), changes.error());
    const Conditions conditions{.lockToken = vxhost::parseTokenUri(options.token)};
    if (conditions.lockToken.empty() && !options.token.empty()) {
        return report("use this token for", address.url(),
                      localError(Kind::usage, "A lock's token is a URI."));
    }
    const Result<void> changed = session.withRemote(address, [&](Remote& remote) -> Result<void> {
        Result<void> done =
            remote.run(changeProperties(remote, address.url(), *changes, conditions));
        if (done) return done;
        return remote.run(withHolder(remote, {address.url()}, std::move(done).error()));
    });
    return changed ? exitDone : report("change properties of", address.url(), changed.error());
}

int runProp(Session& session, PropOptions& options) {
    const Result<Address> address = parseUrl(session, options.url);
    if (!address) return exitCode(address.error().kind);
    const bool changes = options.action == "set" || options.action == "rm";
    if (options.action == "ls" && !options.words.empty()) {
        return report("list properties of", address->url(),
                      localError(Kind::usage, "prop ls lists them all; prop get takes names."));
    }
    return changes ? changeThem(session, *address, options) : readThem(session, *address, options);
}

}  // namespace

void addProp(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<PropOptions>();
    const CommandDefinition command =
        program.addCommand("prop", "Show and change any property of a member or a collection");
    command
        .addOption(
            "ACTION",
            [options](const std::string& word) -> Result<void> {
                options->action = word;
                if (word == "get" || word == "set" || word == "rm" || word == "ls") return {};
                return localError(Kind::usage, "ACTION is get, set, rm or ls.");
            },
            "ls: the names of all; get: the values, of all without a PROPERTY; set: each PROPERTY "
            "to the VALUE behind it; rm: remove")
        .typeName("")
        .required();
    addUrl(command, options->url, "A member or a collection");
    command
        .addOption(
            "PROPERTY", options->words,
            "{namespace}name, or D:name of those of WebDAV itself; of set with a VALUE behind "
            "each")
        .typeName("");
    command.addFlag("--xml", options->xml, "The values that are set are XML");
    command.addOption("--token", options->token, "Of a lock of yours that is on it")
        .typeName("TOKEN");
    command.addFlag("--json", options->json, "An array of objects");
    command.setFooter(
        "Several changes are made together: the server makes all of them, or none and says why.\n"
        "A value is text; one that holds elements is shown as XML. Properties of a server's own,\n"
        "as D:getetag is, cannot be changed.\n\n"
        "Examples:\n"
        "  quillon prop ls https://example.org/dav/plan.txt\n"
        "  quillon prop get https://example.org/dav/plan.txt D:getetag\n"
        "  quillon prop set https://example.org/dav/plan.txt '{http://example.org/}color' red\n"
        "  quillon prop set --xml work:plan.txt '{urn:x}by' '<who xmlns=\"urn:x\">ann</who>'\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runProp(session, *options); });
}

}  // namespace quillon::cli
