#include "cli/commands/sync/pairs.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <utility>

#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {

using sync::Act;

Result<sync::Pair> findPair(const std::string& folder, sync::Purpose purpose) {
    Result<std::optional<sync::Pair>> pair = sync::Pair::find(folder, purpose);
    if (!pair) return std::move(pair).error();
    if (*pair) return std::move(**pair);
    return localError(Kind::usage,
                      fmt::format("{} is not paired with a collection. This pairs a folder: "
                                  "quillon sync FOLDER URL",
                                  folder == "." ? "This folder" : folder));
}

Result<void> noteSite(sync::Pair& pair, Session& session, const Address& root) {
    const Site* site = session.sites().of(root);
    if (Result<void> noted = pair.state().set("user", root.user()); !noted) return noted;
    return pair.state().set("site", site == nullptr ? "" : site->name);
}

Result<Address> collectionOf(const sync::Pair& pair, Session& session) {
    const Result<std::optional<std::string>> noted = pair.state().setting("site");
    if (!noted) return noted.error();
    const std::string name = noted->value_or(""), named = name + ":";
    Result<Address> collection = pair.collection();
    if (!collection) return collection;
    std::string_view lost;  // what became of the site; empty: nothing
    if (Sites::knows(named)) {
        const Result<Site> site = session.sites().find(name);
        if (!site) return site.error();
        // Of another server it is not asked, which would get what the line says.
        if (vxhost::sameOrigin(site->url, pair.url())) {
            Result<Address> whole = session.sites().resolve(named);
            if (!whole) return whole;
            return collection->withUser(whole->user());
        }
        lost = "is for another server now";
    } else if (!name.empty()) {
        lost = "is not there any more";
    }
    if (!lost.empty()) {
        complain(
            fmt::format("the site {}, by which {} was paired, {}. quillon sync {} URL, once, "
                        "with a site's name or a URL, notes another way in.",
                        name, pair.folder().string(), lost, shellWord(pair.folder().string())));
    }
    return session.options().user.empty() ? collection : collection->withUser({});
}

void addStartOption(CommandDefinition command, std::string& start) {
    command
        .addOption("-C,--directory", start,
                   "Begin in this folder, which is paired, or one in it; else in the current one")
        .notEmpty()
        .typeName("DIRECTORY");
}

void addFolderWord(CommandDefinition command, std::string& folder) {
    command.addOption("DIRECTORY", folder, "The folder as a word, in place of -C").typeName("");
}

std::string folderFrom(const std::string& start, const std::string& word) {
    if (word.empty()) return start.empty() ? "." : start;
    return (std::filesystem::path(start) / word).string();
}

std::string_view wordOf(Act act, bool planned) {
    switch (act) {
        case Act::moveHere:
            return planned ? "move here" : "moved here";
        case Act::moveThere:
            return planned ? "move there" : "moved there";
        case Act::makeHere:
            return planned ? "make here" : "made here";
        case Act::makeThere:
            return planned ? "make there" : "made there";
        case Act::fetch:
            return planned ? "fetch" : "fetched";
        case Act::store:
            return planned ? "store" : "stored";
        case Act::compare:
            return planned ? "compare" : "compared";
        case Act::adopt:
            return "the same";
        case Act::forget:
            return "gone on both sides";
        case Act::conflict:
            return "in conflict";
        case Act::blocked:
            return planned ? "leave alone" : "left alone";
        case Act::removeHere:
            return planned ? "remove here" : "removed here";
        case Act::removeThere:
            return planned ? "remove there" : "removed there";
    }
    return "";
}

std::string_view wordOfGivenBack(Act act) {
    return act == Act::store || act == Act::removeThere ? "given back there" : "given back here";
}

std::string_view reasonOf(sync::Conflict conflict) {
    switch (conflict) {
        case sync::Conflict::none:
            return "";
        case sync::Conflict::bothChanged:
            return "changed on both sides";
        case sync::Conflict::bothMade:
            return "made on both sides";
        case sync::Conflict::kinds:
            return "a folder on one side, a file on the other";
    }
    return "";
}

}  // namespace quillon::cli
