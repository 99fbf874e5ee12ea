#include "cli/commands/look/visit_trees.hpp"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <utility>

#include "cli/commands/what_is_there.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/report.hpp"
#include "client/tree/walk.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

Task<> finishWalk(Walk& walk) {
    co_await walk.finish();
}

class Tour {
public:
    Tour(Remote& remote, const Address& root, std::optional<size_t> mostDepth, TreeVisitor& visitor)
        : remote_(remote),
          root_(root),
          mostDepth_(mostDepth.value_or(static_cast<size_t>(-1))),
          visitor_(visitor),
          walk_(remote, root.asCollection().url(),
                [&visitor](std::string_view path, bool isCollection) {
                    return visitor.wants(path, isCollection);
                }) {
        walk_.endAbove(mostDepth_);
    }
    ~Tour() {
        try {
            remote_.run(finishWalk(walk_));
        } catch (...) {  // what was asked ahead has failed, and nobody waits for it any more
        }
    }
    Tour(const Tour&) = delete;
    Tour& operator=(const Tour&) = delete;

    // A failure: what was named cannot be read at all.
    Result<void> run() {
        std::optional<WalkedCollection> walked = remote_.run(walk_.next());
        const bool unsure =
            root_.namesMember() && (!walked->members || walked->members->resources.empty());
        if (unsure) {
            Result<std::optional<Resource>> found = remote_.run(look(remote_, root_.url()));
            if (found && *found && !(*found)->isCollection) {
                visitor_.meet({{}, root_.name(), root_.url(), *std::move(*found)});
                return {};
            }
        }
        if (!walked->members) return std::move(walked->members).error();
        const Address collection = root_.asCollection();
        Visited root{{}, collection.name(), collection.url(), {}};
        root.resource.isCollection = true;
        visitor_.meet(root);
        open(std::move(root), *std::move(walked));
        while (!open_.empty() && code_ != exitInterrupted && std::ferror(stdout) == 0) step();
        tellLeftOut();
        return {};
    }
    int code() const { return code_; }

private:
    struct Open {
        Visited collection;
        std::vector<Resource> members;
        size_t next = 0;  // of them
    };

    void step() {
        Open& inner = open_.back();
        if (inner.next == inner.members.size()) {
            visitor_.leave(inner.collection);
            open_.pop_back();
            return;
        }
        Resource& resource = inner.members[inner.next++];
        Visited each;
        each.path = Walk::pathOf(inner.collection.path, resource);
        each.name = vxhost::decodeSegment(resource.segment);
        each.url = inner.collection.url + resource.segment + (resource.isCollection ? "/" : "");
        each.depth = inner.collection.depth + 1;
        each.isLast = inner.next == inner.members.size();
        each.resource = std::move(resource);
        visitor_.meet(each);
        if (each.resource.isCollection) enter(std::move(each));
    }

    // Unless the walk leaves it out, as it does with what lies too deep.
    void enter(Visited collection) {
        if (!upcoming_ && collection.depth < mostDepth_) {
            visitor_.output.flush();
            upcoming_ = remote_.run(walk_.next());
        }
        if (upcoming_ && upcoming_->url == collection.url) {
            WalkedCollection walked = *std::exchange(upcoming_, std::nullopt);
            open(std::move(collection), std::move(walked));
        } else {
            visitor_.leave(collection);
        }
    }

    void open(Visited collection, WalkedCollection walked) {
        if (!walked.members) {
            visitor_.output.flush();
            note(report("list", walked.url, walked.members.error()));
            visitor_.missRest(collection);
            visitor_.leave(collection);
            return;
        }
        if (const size_t unreadable = walked.members->unreadable; unreadable > 0) {
            visitor_.output.flush();
            note(tellUnreadable(walked.url, unreadable));
            visitor_.missRest(collection);
        }
        visitor_.open(collection, walked.members->resources);
        open_.push_back({std::move(collection), std::move(walked.members->resources)});
    }

    void tellLeftOut() {
        if (walk_.leftOut().empty()) return;
        visitor_.output.flush();
        for (const Walk::LeftOut& each : walk_.leftOut()) {
            note(report("list", each.url, each.error));
        }
    }

    void note(int code) {
        if (code_ == exitDone || code == exitInterrupted) code_ = code;
    }

    Remote& remote_;
    const Address& root_;
    const size_t mostDepth_;
    TreeVisitor& visitor_;
    Walk walk_;
    std::optional<WalkedCollection> upcoming_;  // told by the walk, and not met yet
    std::vector<Open> open_;                    // from what was named inwards
    int code_ = exitDone;
};

int visitTree(Session& session, Servers& servers, const Address& root,
              std::optional<size_t> mostDepth, TreeVisitor& visitor) {
    int code = exitDone;
    const Result<void> visited = servers.with(root, [&](Remote& remote) -> Result<void> {
        Tour tour(remote, root, mostDepth, visitor);
        Result<void> outcome = tour.run();
        code = tour.code();
        return outcome;
    });
    if (visited) return code;
    visitor.output.flush();
    return report("list", root.url(),
                  explainNotOpened(session, root.asCollection(), visited.error()));
}

}  // namespace

int tellUnreadable(const std::string& collection, size_t count) {
    complain(fmt::format("{}: the server itself cannot read {} of its members", collection, count));
    return exitRefused;
}

int visitTrees(Session& session, std::vector<std::string>& urls, std::optional<size_t> mostDepth,
               TreeVisitor& visitor) {
    if (urls.empty()) urls.emplace_back();
    Servers& servers = session.servers();
    int code = exitDone;
    for (std::string& url : urls) {
        const Result<Address> address = parseUrl(session, url);
        const int its = address ? visitTree(session, servers, *address, mostDepth, visitor)
                                : exitCode(address.error().kind);
        if (code == exitDone || its == exitInterrupted) code = its;
        if (its == exitInterrupted || std::ferror(stdout) != 0) break;
    }
    visitor.output.flush();
    return code;
}

void addTreeUrls(CommandDefinition command, const Invocation& invocation,
                 std::vector<std::string>& urls) {
    addUrls(command, urls, "Collections, or members").required(!invocation.inShell);
}

OptionDefinition addDepthOption(CommandDefinition command, const std::string& names,
                                std::optional<size_t>& depth, const std::string& meaning) {
    const auto take = [&depth](const std::string& text) -> Result<void> {
        size_t number = 0;
        const char* const end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data(), end, number);
        if (parsed.ec != std::errc() || parsed.ptr != end || number == 0) {
            return localError(
                Kind::usage,
                fmt::format("\"{}\" is no depth. The members themselves are at 1.", text));
        }
        depth = number;
        return {};
    };
    return command.addOption(names, take, meaning).typeName("N");
}

JsonObject describe(const Visited& each) {
    return describe(each.name, each.url, each.resource, each.path);
}

}  // namespace quillon::cli
