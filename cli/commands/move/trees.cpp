#include "cli/commands/move/trees.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/filter_options.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/file_notes.hpp"
#include "cli/session/question.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/events.hpp"
#include "cli/terminal/exit_code.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "client/tree/get_tree.hpp"
#include "client/tree/put_facts.hpp"
#include "client/tree/put_tree.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

// planned: of what would be done.
std::string_view wordOf(TreeDeed deed, bool planned) {
    switch (deed) {
        case TreeDeed::fetched:
            return planned ? "fetch" : "fetched";
        case TreeDeed::stored:
            return planned ? "store" : "stored";
        case TreeDeed::made:
            return planned ? "make" : "made";
        case TreeDeed::removed:
            return planned ? "remove" : "removed";
        case TreeDeed::same:
            return "the same";
        case TreeDeed::kept:
            return planned ? "keep" : "kept";
        case TreeDeed::leftOver:
            return "on one side alone";
        case TreeDeed::skipped:
            return planned ? "skip" : "skipped";
        case TreeDeed::failed:
            return "failed";
    }
    return "";
}

// Tells a person, or a program, what happens to a tree; the code is that of its first failure.
class TreeTeller {
public:
    TreeTeller(Session& session, const TreeChoice& choice, std::string_view attempt)
        : session_(session),
          isPlanned_(choice.telling.dryRun),
          tellsSame_(choice.tellsSame),
          attempt_(attempt),
          events_(choice.telling.manner(session.options().verbosity > 0), session.progress()) {}

    void tell(const TreeEvent& event) {
        if (event.error && event.error->kind == Kind::interrupted) return tellInterrupt();
        const bool isStill = event.deed == TreeDeed::same || event.deed == TreeDeed::leftOver;
        if (isStill && !tellsSame_) {
            events_.count(wordOf(event.deed, isPlanned_));
        } else {
            const std::string why = event.error ? event.error->sentences.front() : std::string();
            events_.tell({wordOf(event.deed, isPlanned_),
                          event.isFolder ? event.path + '/' : event.path, event.url, event.size,
                          why});
        }
        if (event.error) tellError(event);
    }
    int finish(const Result<void>& outcome, const Address& root) {
        events_.sumUp();
        if (outcome) return code_;
        if (outcome.error().kind == Kind::interrupted) tellInterrupt();
        if (code_ == exitInterrupted) return code_;
        return report(attempt_, root.url(), outcome.error());
    }

private:
    // Once, whatever was under way.
    void tellInterrupt() {
        if (code_ == exitInterrupted) return;
        session_.progress().hide();
        complain("interrupted. The same command goes on.");
        code_ = exitInterrupted;
    }

    void tellError(const TreeEvent& event) {
        session_.progress().hide();
        if (event.deed == TreeDeed::skipped || event.deed == TreeDeed::stored) {
            complain(fmt::format("{}{}{}", event.path, event.path.empty() ? "" : ": ",
                                 event.error->sentences.front()));
            return;
        }
        const int code = report(attempt_, event.url, *event.error);
        if (code_ == exitDone) code_ = code;
    }

    Session& session_;
    const bool isPlanned_;
    const bool tellsSame_;
    const std::string attempt_;
    Events events_;
    int code_ = exitDone;
};

TreeOptions treeOptions(const TreeChoice& choice, FileMemory& memory, TreeTeller& teller,
                        Progress& progress) {
    TreeOptions options;
    options.compare = {choice.all, choice.checksum, choice.force};
    options.filter = choice.filter;
    options.dryRun = choice.telling.dryRun;
    options.remove = choice.remove || choice.removeUnknown;
    options.links = choice.follow ? Links::followed : Links::left;
    options.memory = choice.forgets ? nullptr : &memory;
    options.tell = [&teller](const TreeEvent& event) { teller.tell(event); };
    options.meter = &progress;
    options.mayRemoveUnknown = [&choice](size_t count) {
        if (!choice.removeUnknown) return false;
        if (choice.yes || choice.telling.dryRun) return true;
        const Result<bool> answer = askPerson(
            fmt::format("Remove also {} that nobody noted to have been on the other side, and what "
                        "is in them?",
                        count),
            "--yes");
        if (!answer) complain(answer.error().sentences.front());
        return answer && *answer;
    };
    return options;
}

int getTree(Session& session, const Address& address, const std::string& directory,
            const TreeChoice& choice, FileMemory& memory) {
    const Address root = address.asCollection();
    TreeTeller teller(session, choice, "fetch");
    const Result<LocalFolder> folder = LocalFolder::open(directory.empty() ? "." : directory);
    if (!folder) return teller.finish(folder.error(), root);
    TreeOptions options = treeOptions(choice, memory, teller, session.progress());
    const bool isRoot = !root.asMember().namesMember();
    if (!isRoot) options.base = root.name();
    if (std::string why = isRoot ? "" : whyNotLocal(options.base); !why.empty()) {
        return teller.finish(localError(Kind::usage, std::move(why)), root);
    }
    const Result<void> outcome = session.withRemote(root, [&](Remote& remote) -> Result<void> {
        return remote.run(getTree(remote, root.url(), *folder, options));
    });
    if (const auto missing = asNotFound(outcome, {400, 404}); !missing) {
        return teller.finish(explainNotOpened(session, root, missing.error()), root);
    }
    return teller.finish(outcome, root);
}

int putTree(Session& session, const std::string& path, const Address& url, const TreeChoice& choice,
            FileMemory& memory) {
    TreeTeller teller(session, choice, "store");
    std::error_code none;
    fs::path absolute = fs::absolute(path, none).lexically_normal();
    if (!absolute.has_filename()) absolute = absolute.parent_path();  // it ended in a slash
    const std::string name = absolute.filename().string();
    const Result<Address> member =
        name.empty() ? url.asCollection() : url.asCollection().member(name);
    if (!member) return teller.finish(member.error(), url);
    const Address root = member->asCollection();
    const Result<LocalFolder> folder = LocalFolder::open(path);
    if (!folder) return teller.finish(folder.error(), root);
    const TreeOptions options = treeOptions(choice, memory, teller, session.progress());
    const Result<void> outcome = session.withRemote(root, [&](Remote& remote) -> Result<void> {
        PutFactsOnce facts(remote, root.url());
        return remote.run(putTree(remote, root.url(), *folder, options, facts));
    });
    if (const auto missing = asNotFound(outcome, {404, 409}); !missing) {
        return teller.finish(explainNoPlace(session, root.asMember(), missing.error()), root);
    }
    return teller.finish(outcome, root);
}

// One after the other, with one line of progress. The code is that of the first failure, an
// interrupt is the end.
template <class Action>
int eachTree(Session& session, std::vector<std::string>& roots, Action&& action) {
    session.progress().startAll({}, roots.size());
    int code = exitDone;
    for (std::string& root : roots) {
        const int its = action(root);
        if (code == exitDone || its == exitInterrupted) code = its;
        if (its == exitInterrupted) break;
    }
    session.progress().finishAll();
    return code;
}

}  // namespace

bool wantsMissingTree(const TreeChoice& choice) {
    const bool isWanted = choice.telling.dryRun || choice.telling.json;
    if (choice.isTree || !isWanted) return false;
    complain("--dry-run and --json are for trees: give -r, too. Nothing was done.");
    return true;
}

void addTreeOptions(CommandDefinition command, TreeChoice& choice) {
    command.addFlag("-r,--recursive", choice.isTree, "Whole trees");
    command.addFlag("--all", choice.all, "Of a tree: transfer also what is the same already");
    command.addFlag("--checksum", choice.checksum,
                    "Of a tree: compare contents, not sizes and dates");
    command.addFlag("--delete", choice.remove,
                    "Of a tree: remove what was on both sides and is no more on the other");
    command.addFlag("--delete-unknown", choice.removeUnknown,
                    "The same, also of what nobody noted to have been there, after a question");
    command.addFlag("-y,--yes", choice.yes, "Answer that question with yes");
    addFilterOptions(command, choice.filter);
    addTellingOptions(command, choice.telling);
    command.addFlag("--tell-same", choice.tellsSame,
                    "Of a tree: tell also of what is the same already, and of what one side has "
                    "alone, with --json, -n or -v");
}

void addFollowOption(CommandDefinition command, TreeChoice& choice) {
    command.addFlag("--follow", choice.follow, "Store what symbolic links lead to");
}

int getTrees(Session& session, std::vector<std::string>& urls, const std::string& directory,
             TreeChoice& choice) {
    FileMemory memory = openNotes(session);
    return eachTree(session, urls, [&](std::string& url) {
        const Result<Address> address = parseUrl(session, url);
        return address ? getTree(session, *address, directory, choice, memory)
                       : exitCode(address.error().kind);
    });
}

int putTrees(Session& session, std::vector<std::string>& folders, const Address& url,
             TreeChoice& choice) {
    FileMemory memory = openNotes(session);
    return eachTree(session, folders, [&](const std::string& folder) {
        return putTree(session, folder, url, choice, memory);
    });
}

}  // namespace quillon::cli
