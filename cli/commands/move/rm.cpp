// quillon rm: members deleted, and collections when told so.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/matching.hpp"
#include "cli/commands/move/remove_tree.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/parser/options.hpp"
#include "cli/session/question.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/report.hpp"
#include "client/tree/walk.hpp"

namespace quillon::cli {
namespace {

struct RmOptions {
    std::vector<std::string> urls;
    std::string pattern;  // empty: the URLs are what is removed
    std::optional<Time> olderThan;
    std::string token;  // of a single member's lock
    bool recursive = false;
    bool yes = false;
    Telling telling;
};

Error collectionMeant(Kind kind) {
    return localError(kind,
                      "This is a collection, and was left alone. Use rmcol for it, or rm -r.");
}

// The creation date is what the check is about, and not every server keeps one.
Error withAgeExplained(Error error) {
    if (error.code == Code::noCreationDate) {
        error.sentences.assign(1,
                               "This server keeps no dates of creation, so --older-than cannot be "
                               "checked; nothing was deleted. Leave it out if you are sure.");
    }
    if (error.code == Code::newerFile) {
        error.sentences.assign(1, "It is not as old as that; nothing was deleted.");
    }
    return error;
}

// Gives the exit code: what is gone may have left its lock.
Result<int> remove(Session& session, const Address& address, const RmOptions& options) {
    if (!address.namesMember()) return collectionMeant(Kind::usage);
    const auto member = session.member(address, Purpose::look);
    if (!member) return member.error();
    const Result<NamedLock> named = NamedLock::make(session, address, options.token);
    if (!named) return named.error();
    const Result<bool> own = (*member)->useOwnLock();
    if (!own) return own.error();
    Result<void> removed = (*member)->remove(options.olderThan);
    if (!removed) {
        const auto found = (*member)->lastInfo();
        const bool isCollection = found && found->exists && found->isCollection;
        return isCollection ? collectionMeant(Kind::refused)
                            : withAgeExplained(std::move(removed).error());
    }
    const int code = takeOffOwnLock(session, address, **member);
    (*member)->abandonLock();  // it went with the member
    session.forgetLocked(address);
    return code;
}

struct Count {
    size_t members = 0;
    size_t collections = 0;
    bool isComplete = true;
};

class Removal {
public:
    Removal(Session& session, const RmOptions& options)
        : session_(session),
          options_(options),
          servers_(session.servers()),
          events_(options.telling.manner(session.options().verbosity > 0), session.progress()) {}

    int run(std::vector<std::string>& urls) {
        int code = forEachUrl(session_, urls, "delete", [&](const Address& address) {
            return options_.pattern.empty() ? take(address) : takeMatching(address);
        });
        if (code == exitDone) code = code_;
        events_.sumUp();
        return code;
    }

private:
    Result<void> takeMatching(const Address& address) {
        const auto takes = options_.recursive ? Collections::taken : Collections::left;
        const auto found = matchingMembers(session_, address, options_.pattern, takes);
        if (!found) return found.error();
        for (const MatchedMember& member : *found) {
            Result<void> taken =
                member.isCollection ? takeTree(member.address) : takeMember(member.address);
            if (taken) continue;
            const int failed = report("delete", member.address.url(), taken.error());
            if (code_ == exitDone) code_ = failed;
            if (failed == exitInterrupted) return taken;
        }
        return {};
    }

    // Without -r what is there shows when it is removed.
    Result<void> take(const Address& address) {
        if (!options_.recursive) return takeMember(address);
        const auto found = servers_.look(address);
        if (!found) return found.error();
        if (!*found) return localError(Kind::notFound, "There is nothing of this name.");
        if ((*found)->isCollection) return takeTree(address.asCollection());
        // Some servers delete a member, too, when its name comes with a final slash.
        if (!address.namesMember()) {
            return localError(Kind::usage, "This is a file, not a collection, and was left alone.");
        }
        return takeMember(address);
    }

    Result<void> takeMember(const Address& address) {
        if (!options_.telling.dryRun) {
            const Result<int> removed = remove(session_, address, options_);
            if (!removed) return removed.error();
            if (code_ == exitDone) code_ = *removed;
        }
        tell(address.url());
        return {};
    }

    void tell(const std::string& url) {
        events_.tell({options_.telling.dryRun ? "delete" : "deleted", url});
    }

    Result<void> takeTree(const Address& collection) {
        if (!collection.asMember().namesMember()) {
            return localError(Kind::usage, "This is the server's root, and was left alone.");
        }
        if (options_.telling.dryRun || !options_.yes) {
            const Result<Remote*> known = servers_.of(collection);
            if (!known) return known.error();
            const Count count = countTree(**known, collection.url());
            if (options_.telling.dryRun) return {};
            const Result<bool> may = askPerson(question(collection.url(), count), "--yes");
            if (!may) return may.error();
            if (!*may) return {};
        }
        Result<void> removed = removeTree(session_, collection);
        if (!removed) return removed;
        tell(collection.url());
        return {};
    }

    // Tells each of a dry run.
    Count countTree(Remote& remote, const std::string& url) {
        Count count;
        Walk walk(remote, url);
        while (const auto walked = remote.run(walk.next())) {
            ++count.collections;
            if (options_.telling.dryRun) tell(walked->url);
            if (!walked->members) continue;
            for (const Resource& resource : walked->members->resources) {
                if (resource.isCollection) continue;
                ++count.members;
                if (options_.telling.dryRun) tell(walked->url + resource.segment);
            }
        }
        count.isComplete = walk.isComplete();
        return count;
    }

    static std::string question(const std::string& url, const Count& count) {
        return fmt::format("Delete {} with {} members in {} collections{}?", url, count.members,
                           count.collections,
                           count.isComplete ? "" : ", and others that cannot be listed");
    }

    Session& session_;
    const RmOptions& options_;
    Servers& servers_;
    Events events_;
    int code_ = exitDone;
};

int runRm(Session& session, RmOptions& options) {
    if (options.urls.empty() && session.base && !options.pattern.empty()) {
        options.urls.emplace_back();  // the shell's own collection
    }
    if (options.urls.empty()) {
        complain("rm needs a URL. See quillon rm --help.");
        return exitUsage;
    }
    if (!options.token.empty() &&
        (options.urls.size() > 1 || options.recursive || !options.pattern.empty())) {
        complain("--token is the lock of one member: give a single URL, and no -r or --match.");
        return exitUsage;
    }
    options.telling.isMany = options.recursive || !options.pattern.empty();
    return Removal(session, options).run(options.urls);
}

}  // namespace

void addRm(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<RmOptions>();
    const CommandDefinition command =
        program.addCommand("rm", "Delete members, and with -r collections");
    addUrls(command, options->urls, "Members; with -r collections, too")
        .required(!invocation.inShell);
    const OptionDefinition recursive = command.addFlag("-r,--recursive", options->recursive,
                                                       "Collections, with all that is in them");
    const OptionDefinition olderThan =
        addTimeOption(command, "--older-than", options->olderThan,
                      "Only those that were created by TIME, on a server that keeps such dates");
    olderThan.excludes(recursive);
    command.addFlag("-y,--yes", options->yes, "Delete collections without asking");
    addTokenOption(command, options->token);
    addMatchOption(command, options->pattern, "delete");
    addTellingOptions(command, options->telling);
    command.setFooter(
        "Before a collection goes, a person is told how much is in it, and asked. Without a\n"
        "terminal nobody is asked and nothing deleted, unless --yes is given.\n\n"
        "A member on which quillon lock left a lock of yours goes with that lock, as it does by\n"
        "--token, and so does a collection in which there are such members.\n\n" +
        std::string(timeHelp) +
        "\nExamples:\n"
        "  quillon rm https://example.org/dav/old.txt\n"
        "  quillon rm -r https://example.org/dav/2019/\n"
        "  quillon rm --match '*.bak' https://example.org/dav/\n"
        "  quillon rm --older-than 7d https://example.org/dav/draft.txt\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runRm(session, *options); });
}

}  // namespace quillon::cli
