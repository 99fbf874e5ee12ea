#include "client/tree/walk.hpp"

#include <algorithm>
#include <utility>

#include "client/facts/scratch_name.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr size_t mostAhead = 64;  // collections that are asked for before their turn
constexpr size_t mostWaitingResources = 1 << 16;  // of those, until their turn

}  // namespace

Error unreadableMembers() {
    return localError(Kind::refused, "The server itself cannot read some of its members.");
}

size_t Walk::bytesOf(const Node& node) {
    return sizeof node + node.path.size() + node.url.size();
}

Walk::Walk(Remote& remote, std::string rootUrl, Filter filter, Enters enters)
    : remote_(remote),
      filter_(std::move(filter)),
      enters_(std::move(enters)),
      asking_(remote.loop()) {
    nodes_.push_back({{}, std::move(rootUrl)});
    nodeBytes_ = bytesOf(nodes_.front());
}

Walk::~Walk() = default;

// What was left by finding out what the server does belongs to no tree.
void Walk::filterMembers(Node& node) const {
    if (!*node.members) return;
    std::erase_if((*node.members)->resources, [&](const Resource& resource) {
        if (!resource.isCollection && isScratchName(resource.segment)) return true;
        return filter_ && !filter_(pathOf(node.path, resource), resource.isCollection);
    });
}

std::string Walk::pathOf(const std::string& parent, const Resource& resource) {
    const std::string name = vxhost::decodeSegment(resource.segment);
    return parent.empty() ? name : parent + '/' + name;
}

Task<> Walk::ask(Place node) {
    node->members = co_await list(remote_, node->url, wanted_);
    const bool isRoot = node->depth == 0;
    if (isRoot && *node->members && !(*node->members)->tellsFileIds) wanted_.fileIds = false;
    filterMembers(*node);
    if (*node->members) waitingResources_ += (*node->members)->resources.size();
    if (node->waiting) remote_.loop().post(std::exchange(node->waiting, nullptr));
}

// Its collections become nodes right behind it.
void Walk::enter(Place node) {
    const auto behind = std::next(node);
    if (!*node->members || node->depth + 1 >= depthOfEnd_) return;
    for (const Resource& resource : (*node->members)->resources) {
        if (!resource.isCollection) continue;
        std::string path = pathOf(node->path, resource);
        if (enters_ && !enters_(path)) continue;
        const bool isTooDeep = node->depth == mostTreeDepth;
        if (isTooDeep || nodeBytes_ > remote_.settings().mostListingBytes / 8) {
            leftOut_.push_back(
                {node->path, node->url,
                 localError(Kind::local, isTooDeep
                                             ? "It lies too deep: does a collection hold itself?"
                                             : "It holds more collections than memory may hold.")});
            return;
        }
        const auto made = nodes_.insert(
            behind, {std::move(path), node->url + resource.segment + '/', node->depth + 1});
        nodeBytes_ += bytesOf(*made);
    }
}

// The next ones in their order, as long as what came before its turn is not too much to keep.
void Walk::askAhead() {
    size_t ahead = 0;
    for (auto node = nodes_.begin(); node != nodes_.end() && ahead < mostAhead; ++node, ++ahead) {
        if (node->members && !std::exchange(node->entered, true)) enter(node);
        if (node->asked) continue;
        if (node != nodes_.begin() && waitingResources_ > mostWaitingResources) return;
        node->asked = true;
        asking_.spawn(ask(node));
    }
}

Task<std::optional<WalkedCollection>> Walk::next() {
    if (nodes_.empty()) co_return std::nullopt;
    askAhead();
    const Place first = nodes_.begin();
    if (!first->members) {
        struct Waiting {
            Node& node;
            bool await_ready() const { return node.members.has_value(); }
            void await_suspend(std::coroutine_handle<> task) { node.waiting = task; }
            void await_resume() const {}
        };
        co_await Waiting{*first};
        askAhead();
    }
    nodeBytes_ -= bytesOf(*first);
    WalkedCollection walked{std::move(first->path), std::move(first->url),
                            std::move(*first->members)};
    nodes_.erase(first);
    if (walked.members) {
        waitingResources_ -= walked.members->resources.size();
        complete_ = complete_ && walked.members->unreadable == 0;
    } else {
        complete_ = false;
    }
    co_return std::move(walked);
}

Task<Result<void>> Walk::takeAll(Taker take, FailureTeller fail) {
    Result<void> outcome;
    for (bool isRoot = true; outcome; isRoot = false) {
        std::optional<WalkedCollection> walked = co_await next();
        if (!walked) break;
        if (walked->members) {
            co_await take(std::move(*walked));
        } else if (isRoot || walked->members.error().kind == Kind::interrupted) {
            outcome = walked->members.error();
        } else {
            fail(walked->path, walked->url, walked->members.error());
        }
    }
    for (const auto& [path, url, error] : leftOut_) fail(path, url, error);
    co_await finish();
    co_return std::move(outcome);
}

}  // namespace quillon
