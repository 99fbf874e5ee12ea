// quillon status: what differs between a folder and its collection.
#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "cli/commands/command.hpp"
#include "cli/commands/sync/pairs.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "sync/next_try.hpp"

namespace quillon::cli {
namespace {

using sync::Act;
using sync::Action;

struct StatusChoice {
    std::string start, folder;
    bool isLocal = false, json = false;
};

// What is known without the content there.
std::string_view stateOfCompared(const sync::Plan& plan, const std::string& path) {
    const auto base = plan.trees.base.find(path);
    const auto here = plan.trees.here.find(path);
    if (base == plan.trees.base.end()) return "made on both sides";
    if (here == plan.trees.here.end()) return "removed here";
    const bool isSame = sync::isUnchangedHere(base->second, here->second);
    return isSame ? "perhaps changed there" : "changed here";
}

// Only the content could tell that it was changed: what was stored there a moment ago has no
// version yet that proves it.
bool isUnproven(const sync::Plan& plan, const Action& action) {
    if (action.act != Act::compare) return false;
    const auto base = plan.trees.base.find(action.path);
    const auto here = plan.trees.here.find(action.path);
    const auto there = plan.trees.there.find(action.path);
    if (base == plan.trees.base.end() || here == plan.trees.here.end() ||
        there == plan.trees.there.end()) {
        return false;
    }
    const sync::ThereState& known = base->second.there;
    // What was fetched has the date that it had there.
    const Time fetched(std::chrono::floor<std::chrono::seconds>(
        std::chrono::nanoseconds(base->second.here.modifiedNs)));
    const bool isUndated = known.tag.text.empty() && !known.modified && known.size &&
                           !sync::haveOtherIds(known, there->second.state) &&
                           known.size == there->second.state.size &&
                           there->second.state.modified == fetched;
    return sync::isUnchangedHere(base->second, here->second) &&
           (isUndated || sync::looksUnchangedThere(base->second, there->second));
}

// What happened, not what is going to be done about it.
std::string_view stateOf(const sync::Plan& plan, const Action& action) {
    const bool isKnown = plan.trees.base.contains(action.path);
    switch (action.act) {
        case Act::store:
            return isKnown && plan.trees.there.contains(action.path) ? "changed here" : "new here";
        case Act::fetch:
            return isKnown && plan.trees.here.contains(action.path) ? "changed there" : "new there";
        case Act::makeThere:
            return "new here";
        case Act::makeHere:
            return "new there";
        case Act::moveThere:
            return "moved here";
        case Act::moveHere:
            return "moved there";
        case Act::removeThere:
            return "removed here";
        case Act::removeHere:
            return "removed there";
        case Act::compare:
            return stateOfCompared(plan, action.path);
        case Act::conflict:
            return "in conflict";
        case Act::blocked:
            return "left alone";
        case Act::adopt:
        case Act::forget:
            return "";
    }
    return "";
}

class StatusTeller {
public:
    explicit StatusTeller(bool json) : json_(json) {}

    void tell(std::string_view state, const std::string& path, const std::string& remark) const {
        if (json_) {
            JsonObject object;
            object.addText("state", std::string(state));
            object.addText("path", path);
            if (!remark.empty()) object.addText("why", remark);
            printOut("{}\n", object.text());
            return;
        }
        printOut("{:<22} {}{}\n", state, forOutput(path),
                 remark.empty() ? "" : fmt::format(" ({})", forOutput(remark)));
    }

private:
    const bool json_;
};

std::string remarkOf(const Action& action) {
    if (!action.from.empty()) return "from " + action.from;
    if (action.act == Act::compare) return "the next run compares what is there";
    if (action.act == Act::conflict) return std::string(reasonOf(action.conflict));
    return action.why;
}

int tellAll(const sync::Plan& plan, const std::vector<sync::Failed>& failures, bool json) {
    const StatusTeller teller(json);
    int code = exitDone;
    size_t count = 0, unproven = 0;
    for (const Action& each : plan.actions) {
        if (!json && isUnproven(plan, each)) {
            ++unproven;
            continue;
        }
        const std::string_view state = stateOf(plan, each);
        if (state.empty()) continue;
        ++count;
        teller.tell(state, each.isFolder ? each.path + '/' : each.path, remarkOf(each));
        if (each.act == Act::conflict) code = exitChanged;
    }
    for (const sync::Failed& each : failures) {
        ++count;
        teller.tell("failed last time", each.path,
                    sync::waits(each, timeNow()) ? fmt::format("{} Tried again from {}.", each.why,
                                                               localDate(each.notBefore))
                                                 : each.why);
    }
    if (count == 0 && !json) printOut("Both sides are the same.\n");
    if (unproven > 0) {
        printOut("{} stored not long ago {} compared once more by the next run.\n",
                 unproven == 1 ? "A file" : fmt::format("{} files", unproven),
                 unproven == 1 ? "is" : "are");
    }
    return code;
}

int runStatus(Session& session, const StatusChoice& choice) {
    const std::string folder = folderFrom(choice.start, choice.folder);
    Result<sync::Pair> pair = findPair(folder, sync::Purpose::look);
    if (!pair) return report("look at", folder, pair.error());
    const Result<Address> root = collectionOf(*pair, session);
    if (!root) return report("look at", pair->url(), root.error());
    Result<sync::Plan> plan = localError(Kind::local, "");
    if (choice.isLocal) {
        plan = sync::planPair(nullptr, *pair);
    } else {
        plan = session.withRemote(*root, [&](Remote& remote) -> Result<sync::Plan> {
            return sync::planPair(&remote, *pair);
        });
    }
    if (!plan) return report("look at", root->url(), plan.error());
    const Result<std::vector<sync::Failed>> failures = pair->state().failures();
    if (!failures) return report("look at", folder, failures.error());
    if (!choice.json) {
        printOut("{} and {}{}\n", forOutput(pair->folder().string()), forOutput(root->url()),
                 choice.isLocal ? ", this side alone" : "");
    }
    return tellAll(*plan, *failures, choice.json);
}

}  // namespace

void addStatus(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<StatusChoice>();
    const CommandDefinition command =
        program.addCommand("status", "Tell what changed in a folder and its collection");
    addFolderWord(command, choice->folder);
    addStartOption(command, choice->start);
    command.addFlag("--local", choice->isLocal, "Ask nothing of the server");
    command.addFlag("--json", choice->json, "An object a line, for other programs");
    command.setFooter(
        "Tells what the next quillon sync will take over, what is in conflict, and what failed\n"
        "last time and why. Nothing is changed. The exit code is 6 when something is in conflict.\n"
        "\nExamples:\n"
        "  quillon status\n"
        "  quillon status --local -C ~/Plans\n");
    whenGiven(command, invocation,
              [choice](Session& session) { return runStatus(session, *choice); });
}

}  // namespace quillon::cli
