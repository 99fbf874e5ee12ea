#include "sync/look_there.hpp"

#include <map>
#include <string_view>
#include <utility>

#include "client/facts/server_facts.hpp"
#include "client/tree/walk.hpp"
#include "platform/text/url.hpp"
#include "sync/holders.hpp"

namespace quillon::sync {
namespace {

constexpr std::chrono::seconds leastTold{2};

ThereNode blockedNode(std::string why) {
    return {NodeKind::blocked, {}, std::move(why)};
}

// "Apache/2.4.62 (Debian) mod_ssl/1" is another one after each update.
std::string withoutVersions(std::string_view server) {
    return notedValue(server.substr(0, server.find('/')));
}

void addMembers(const WalkedCollection& walked, Folding folding, ThereTree& tree) {
    std::map<std::string, std::string> byKey;  // paths by what is one name here
    for (const Resource& resource : walked.members->resources) {
        const std::string name = vxhost::decodeSegment(resource.segment);
        const std::string path = Walk::pathOf(walked.path, resource);
        std::string why = whyNotLocal(name);
        const auto [at, isFirst] = byKey.emplace(foldedName(name, folding), path);
        if (!isFirst) {
            why = "Another member's name is the same file here.";
            tree[at->second] = blockedNode(why);
        }
        if (!why.empty()) {
            tree[path] = blockedNode(std::move(why));
            continue;
        }
        const NodeKind kind = resource.isCollection ? NodeKind::folder : NodeKind::file;
        tree[path] = {kind, thereStateOf(resource), {}};
    }
}

void noteUnseen(ThereLook& look, std::string what) {
    if (look.unseen.empty()) look.unseen = std::move(what);
}

Task<> noteCollection(ThereLook& look, WalkedCollection walked, Folding folding) {
    const bool isRoot = walked.path.empty();
    if (isRoot) {
        look.asked = walked.members->asked;
        look.server = withoutVersions(walked.members->server);
    }
    if (walked.members->unreadable > 0) {
        noteUnseen(look, isRoot ? "a part of the collection" : "a part of " + walked.path + "/");
        if (!isRoot) look.tree[walked.path] = blockedNode("The server hides a part of it.");
    }
    addMembers(walked, folding, look.tree);
    co_return;
}

}  // namespace

ThereState thereStateOf(const Resource& resource) {
    return {resource.segment, resource.tag, resource.size, resource.modified, {}, resource.fileId};
}

Resource resourceOf(const ThereState& state) {
    return {state.segment, false, state.size, state.modified, state.tag};
}

ThereState settled(ThereState state, std::optional<Time> asked) {
    const bool isOld = asked && state.modified && *asked - *state.modified >= leastTold;
    if (isOld) return state;
    state.tag = {};
    state.modified.reset();
    return state;
}

std::string urlOf(const std::string& rootUrl, const ThereTree& tree, const std::string& path,
                  bool isCollection) {
    std::string url = rootUrl;
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        const auto node = tree.find(path.substr(0, end));
        const std::string segment = node == tree.end() ? std::string() : node->second.state.segment;
        // One that was moved has the segment of its old name.
        const bool isSpelt = !segment.empty() && vxhost::decodeSegment(segment) == name;
        url += isSpelt ? segment : vxhost::encodeSegment(name);
        if (end < path.size() || isCollection) url += '/';
        begin = end + 1;
    }
    return url;
}

Task<Result<ThereLook>> lookThere(Remote& remote, std::string rootUrl, const Filter& filter,
                                  Folding folding) {
    ThereLook look;
    Walk walk(remote, std::move(rootUrl), [&](std::string_view path, bool isCollection) {
        const bool isTaken = filter.takes(path, isCollection);
        if (!isTaken) addHolders(path, look.holdLeftOut);
        return isTaken;
    });
    walk.askForFileIds();
    Walk::Taker take = [&](WalkedCollection walked) {
        return noteCollection(look, std::move(walked), folding);
    };
    Walk::FailureTeller fail = [&look](const auto& path, const auto&, const Error& error) {
        noteUnseen(look, path);
        look.tree[path] = blockedNode(error.sentences.front());
    };
    const Result<void> walked = co_await walk.takeAll(std::move(take), std::move(fail));
    if (!walked) co_return walked.error();
    if (!walk.isComplete()) noteUnseen(look, "all of the collection");
    co_return std::move(look);
}

}  // namespace quillon::sync
