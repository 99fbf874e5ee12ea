// quillon sync: a folder here and a collection there, kept the same.
#include "sync/sync.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/commands/sync/pairs.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/parser/byte_count.hpp"
#include "cli/session/question.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/events.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "sync/pair_limits.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

using sync::Act;
using sync::Action;
using sync::SyncEvent;

struct SyncChoice {
    std::string start, folder, url;
    bool pull = false, push = false, yes = false, deletesMany = false, keepsNothing = false;
    bool forgets = false;
    Telling telling{.isMany = true};
    sync::FilterRules rules;
    std::string keepSize, keepDays;
};

// Tells what happens; the code is 6 where something waits for a person, else 7 where something
// could not be done.
class SyncTeller {
public:
    SyncTeller(Session& session, const SyncChoice& choice)
        : session_(session),
          isPlanned_(choice.telling.dryRun),
          isJson_(choice.telling.json),
          isQuiet_(choice.telling.quiet),
          events_(choice.telling.manner(session.options().verbosity > 0), session.progress()) {}

    void tell(const SyncEvent& event) {
        // What both sides had in common before anything was done is nobody's matter.
        if (event.act == Act::forget || (event.act == Act::adopt && !isJson_)) return;
        hasTold_ = true;
        const bool failed = event.isFailed;
        const std::string_view word = failed ? "failed" : wordOf(event.act, isPlanned_);
        events_.tell(
            {word, event.isFolder ? event.path + '/' : event.path, {}, event.size, whyOf(event)});
        if (event.act == Act::conflict) {
            sayAside(event.path, conflictSentence(event));
        } else if (failed) {
            session_.progress().hide();
            report(attemptOf(event.act), event.path, *event.error);
        } else if (event.error) {
            session_.progress().hide();
            reportBeside(event.path, *event.error);
        }
    }
    void remark(const std::string& sentence) {
        session_.progress().hide();
        complain(sentence);
    }
    int finish(const Result<sync::SyncEnd>& end, const Address& root) {
        session_.progress().finishAll();
        events_.sumUp();
        if (end && !hasTold_ && !isJson_ && !isQuiet_ && !end->isDeclined && !end->leftRemovals) {
            complain("both sides are the same");
        }
        if (end) {
            if (end->conflicts > 0 || end->leftRemovals) return exitChanged;
            return end->failures > 0 ? exitNetwork : exitDone;
        }
        if (end.error().kind == Kind::interrupted) {
            complain("interrupted. The same command goes on.");
            return exitInterrupted;
        }
        return report("synchronise with", root.url(), end.error());
    }

private:
    // "cannot ... it".
    static std::string attemptOf(Act act) { return std::string(wordOf(act, true)); }
    static std::string whyOf(const SyncEvent& event) {
        if (event.error) return event.error->sentences.front();
        if (!event.from.empty()) return "from " + event.from;
        return std::string(reasonOf(event.conflict));
    }
    static std::string conflictSentence(const SyncEvent& event) {
        std::string text(reasonOf(event.conflict));
        if (!event.copy.empty()) {
            text += fmt::format("; theirs is {}", forOutput(event.copy));
        } else if (event.error) {
            text += "; " + event.error->sentences.front();
        }
        return text;
    }
    void sayAside(const std::string& path, const std::string& sentence) {
        session_.progress().hide();
        complain(fmt::format("{}: {}", path, sentence));
    }

    Session& session_;
    const bool isPlanned_, isJson_, isQuiet_;
    bool hasTold_ = false;
    Events events_;
};

// "3 to fetch (1.2 MiB), 2 to store, 1 in conflict": what a person is asked about.
std::string summaryOf(const sync::Plan& plan) {
    std::map<std::string_view, size_t> counts;
    uint64_t down = 0, up = 0;
    for (const Action& each : plan.actions) {
        ++counts[wordOf(each.act, true)];
        if (each.act == Act::fetch) down += plan.trees.there.at(each.path).state.size.value_or(0);
        if (each.act == Act::store) up += plan.trees.here.at(each.path).state.size;
    }
    std::string text;
    for (const auto& [word, count] : counts) {
        text += fmt::format("{}{}: {}", text.empty() ? "" : ", ", word, count);
        if (word == "fetch") text += fmt::format(" ({})", shortSize(down));
        if (word == "store") text += fmt::format(" ({})", shortSize(up));
    }
    return text.empty() ? "Both sides are the same" : text;
}

sync::SyncOptions optionsOf(const SyncChoice& choice, SyncTeller& teller, Session& session) {
    sync::SyncOptions options;
    options.direction = choice.pull   ? sync::Direction::pull
                        : choice.push ? sync::Direction::push
                                      : sync::Direction::both;
    options.dryRun = choice.telling.dryRun;
    options.removesMany = choice.deletesMany;
    options.keeps = !choice.keepsNothing;
    options.tell = [&teller](const SyncEvent& event) { teller.tell(event); };
    options.remark = [&teller](const std::string& sentence) { teller.remark(sentence); };
    options.meter = &session.progress();
    return options;
}

Result<void> applySettings(sync::Pair& pair, const SyncChoice& choice) {
    if (choice.telling.dryRun) {
        if (!choice.rules.empty()) pair.tryRules(choice.rules);
        return {};
    }
    if (!choice.rules.empty()) {
        if (Result<void> written = pair.setRules(choice.rules); !written) return written;
    }
    for (const auto& [name, value] :
         {std::pair<const char*, const std::string*>{"keep-size", &choice.keepSize},
          {"keep-days", &choice.keepDays}}) {
        if (value->empty()) continue;
        if (Result<void> written = pair.state().set(name, *value); !written) return written;
    }
    return {};
}

// root: the pair's collection, by what was typed now or is noted.
int runPair(Session& session, const SyncChoice& choice, sync::Pair& pair,
            const Result<Address>& root, bool isNew) {
    SyncTeller teller(session, choice);
    if (!root) return report("synchronise with", pair.url(), root.error());
    const Result<void> set = applySettings(pair, choice);
    const Result<sync::StoreLimits> limits = sync::limitsOf(pair.state());
    if (!set || !limits)
        return report("use the pair of", pair.folder().string(),
                      set ? limits.error() : set.error());
    sync::SyncOptions options = optionsOf(choice, teller, session);
    options.limits = *limits;
    std::optional<Error> unanswered;
    if (isNew && !choice.yes) {
        options.confirm = [&](const sync::Plan& plan) {
            session.progress().hide();
            const Result<bool> answer =
                askPerson(fmt::format("{}. Keep {} and {} the same from now on?", summaryOf(plan),
                                      harmless(pair.folder().string()), harmless(root->url())),
                          "--yes");
            if (!answer) unanswered = answer.error();
            return answer && *answer;
        };
    }
    session.progress().startAll(root->name());
    const Result<sync::SyncEnd> end =
        session.withRemote(*root, [&](Remote& remote) -> Result<sync::SyncEnd> {
            return remote.run(sync::synchronise(remote, pair, options));
        });
    if (unanswered) {
        session.progress().finishAll();
        return report("pair", pair.folder().string(), *unanswered);
    }
    return teller.finish(end, *root);
}

// What nothing came of is no pair.
bool hasBegun(const sync::Pair& pair) {
    const Result<int64_t> run = pair.state().lastRun();
    const Result<std::optional<std::string>> filter = pair.state().setting("filter");
    return !run || *run > 0 || !filter || filter->has_value();
}

Result<sync::Pair> makePair(const SyncChoice& choice, const Address& root, bool& madeFolder) {
    std::error_code error;
    madeFolder = fs::create_directory(choice.folder, error);
    if (error) {
        return localError(Kind::local,
                          fmt::format("The folder cannot be made: {}.", error.message()));
    }
    return sync::Pair::make(choice.folder, root, choice.rules);
}

int runNew(Session& session, SyncChoice& choice) {
    const Result<Address> address = parseUrl(session, choice.url);
    if (!address) return exitCode(address.error().kind);
    const Address root = address->asCollection();
    Result<std::optional<sync::Pair>> known = std::optional<sync::Pair>();
    std::error_code none;
    if (fs::exists(choice.folder, none)) known = sync::Pair::find(choice.folder);
    if (!known) return report("pair", choice.folder, known.error());
    if (*known && (*known)->url() == root.url() &&
        (*known)->pathOf(choice.folder).value_or("") == "") {
        const bool isDry = choice.telling.dryRun;
        const auto noted = isDry ? Result<void>() : noteSite(**known, session, root);
        if (!noted) return report("pair", choice.folder, noted.error());
        return runPair(session, choice, **known, root, !hasBegun(**known));
    }
    if (*known) {
        return report("pair", choice.folder,
                      localError(Kind::usage,
                                 fmt::format("{} is paired with {} already. quillon sync --forget "
                                             "{} forgets that, and leaves the files as they are.",
                                             (*known)->folder().string(), (*known)->url(),
                                             (*known)->folder().string())));
    }
    if (choice.telling.dryRun) {
        return report("pair", choice.folder,
                      localError(Kind::usage,
                                 "A dry run pairs nothing. Without -n the first run "
                                 "shows what it would do, and asks."));
    }
    bool madeFolder = false;
    Result<sync::Pair> pair = makePair(choice, root, madeFolder);
    const Result<void> noted = pair ? noteSite(*pair, session, root) : Result<void>(pair.error());
    if (!noted) return report("pair", choice.folder, noted.error());
    const int code = runPair(session, choice, *pair, root, true);
    if (!hasBegun(*pair)) {
        const Result<void> forgotten = sync::Pair::forget(std::move(*pair));
        if (!forgotten) return report("forget", choice.folder, forgotten.error());
        if (madeFolder) fs::remove(choice.folder, none);  // one that is empty goes
        if (code == exitDone) complain("nothing was done, and nothing is paired");
    }
    return code;
}

int runSync(Session& session, SyncChoice& choice) {
    choice.folder = folderFrom(choice.start, choice.folder);
    if (choice.forgets && (!choice.url.empty() || choice.telling.dryRun)) {
        return report("forget the pair of", choice.folder,
                      localError(Kind::usage, "--forget takes a folder alone, and no dry run."));
    }
    if (!choice.url.empty()) return runNew(session, choice);
    const bool looks = choice.telling.dryRun;
    Result<sync::Pair> pair =
        findPair(choice.folder, looks ? sync::Purpose::look : sync::Purpose::change);
    if (!pair) return report("synchronise", choice.folder, pair.error());
    if (!choice.forgets) {
        return runPair(session, choice, *pair, collectionOf(*pair, session), false);
    }
    const std::string folder = pair->folder().string();
    const Result<void> forgotten = sync::Pair::forget(std::move(*pair));
    return forgotten ? exitDone : report("forget the pair of", folder, forgotten.error());
}

Result<void> setSize(SyncChoice& choice, const std::string& text) {
    const std::optional<uint64_t> bytes = parseByteCount(text);
    if (!bytes) return localError(Kind::usage, "Write a size such as 500M or 2G.");
    choice.keepSize = fmt::format("{}", *bytes);
    return {};
}

Result<void> addRulesOf(const std::string& file, sync::FilterRules& rules) {
    Filter filter;  // to hear whether they are patterns
    if (Result<void> read = filter.excludeFrom(file); !read) return read;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || line.starts_with('#')) continue;
        const bool includes = line.starts_with('!');
        rules.push_back((includes ? "i " : "x ") + line.substr(includes ? 1 : 0));
    }
    return {};
}

void addRule(CommandDefinition command, SyncChoice& choice, const char* names, char kind,
             const char* meaning) {
    command
        .addOption(
            names,
            [&choice, kind](const std::string& pattern) -> Result<void> {
                Filter filter;  // to hear whether it is one
                choice.rules.push_back(std::string(1, kind) + ' ' + pattern);
                return kind == 'x' ? filter.exclude(pattern) : filter.include(pattern);
            },
            meaning)
        .typeName("PATTERN")
        .eachInTurn();
}

}  // namespace

void addSync(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<SyncChoice>();
    const CommandDefinition command =
        program.addCommand("sync", "Keep a folder and a collection the same, in both directions");
    command
        .addOption("DIRECTORY", choice->folder,
                   "The folder, or one that is in it; else that of -C or the current one")
        .notEmpty()
        .typeName("");
    command
        .addOption("URL", choice->url,
                   "The collection, the first time; it is made where it is not there")
        .typeName("");
    addStartOption(command, choice->start);
    const auto pull = command.addFlag("--pull", choice->pull, "Only what changed there");
    command.addFlag("--push", choice->push, "Only what changed here").excludes(pull);
    addTellingOptions(command, choice->telling);
    command.addFlag("-y,--yes", choice->yes, "Pair them without a question");
    command.addFlag("--delete-many", choice->deletesMany,
                    "Remove also more than half of all files, or on another server than last time");
    command.addFlag("--no-keep", choice->keepsNothing,
                    "Keep nothing of what is replaced or removed");
    addRule(command, *choice, "-x,--exclude", 'x',
            "Leave out what matches, as a line of .gitignore does; kept with the pair");
    addRule(command, *choice, "-i,--include", 'i', "Take what matches all the same");
    command
        .addOption(
            "--exclude-from",
            [choice](const std::string& file) { return addRulesOf(file, choice->rules); },
            "Leave out what its lines match; the lines are kept, not the file")
        .typeName("FILE")
        .eachInTurn();
    command
        .addOption(
            "--keep-size", [choice](const std::string& text) { return setSize(*choice, text); },
            "Keep at most so much of what is replaced or removed; else 1G")
        .typeName("SIZE");
    command
        .addOption(
            "--keep-days",
            [choice](const std::string& text) -> Result<void> {
                const bool isNumber = !text.empty() && text.size() < 6 &&
                                      text.find_first_not_of("0123456789") == text.npos;
                if (!isNumber) return localError(Kind::usage, "Write a number of days.");
                choice->keepDays = text;
                return {};
            },
            "Keep it so long; else 30")
        .typeName("DAYS");
    command.addFlag("--forget", choice->forgets,
                    "Pair them no more; the files of both sides stay as they are");
    command.setFooter(
        "The first time it shows what it will do, and asks. Later, in the folder, quillon sync is\n"
        "enough. What changed on one side goes to the other; what was removed on one side goes on\n"
        "the other; what was moved is moved. Nothing is overwritten that somebody changed since "
        "it\n"
        "was looked at, and what is replaced or removed is kept for a while: quillon undo.\n\n"
        "What changed on both sides is a conflict: neither is touched, theirs is put beside the\n"
        "file, and quillon resolve settles it. A file .quillonignore in the folder leaves out "
        "what\n"
        "its lines match, as -x does.\n\n"
        "The exit code is 0 when both sides are the same, 6 when conflicts are left or removals\n"
        "wait for --delete-many, and 7 when something could not be done; the next run goes on.\n\n"
        "Examples:\n"
        "  quillon sync ~/Plans work:plans/\n"
        "  quillon sync -x '*.tmp' ~/Plans https://example.org/dav/plans/\n"
        "  cd ~/Plans && quillon sync\n"
        "  quillon sync --dry-run\n");
    whenGiven(command, invocation,
              [choice](Session& session) { return runSync(session, *choice); });
}

}  // namespace quillon::cli
