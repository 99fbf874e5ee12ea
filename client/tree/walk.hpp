// The collections of a tree on a server, one after the other in a fixed order, while those that
// follow are being asked for.
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"

namespace quillon {

// A collection of the tree and what it holds. Its members' collections come right behind it, each
// before the next, by their segments.
struct WalkedCollection {
    std::string path;  // decoded names with "/" between them; empty: the root
    std::string url;   // ends in a slash; made of the root's and of segments alone
    Result<Members> members;
};

// No tree that people make is so deep; a collection that holds itself is, and so is a hostile one.
inline constexpr size_t mostTreeDepth = 100;

// That of a collection of which the server refuses to tell a part.
Error unreadableMembers();

class Walk {
public:
    // Whether a member is told at all; may be empty: all are.
    using Filter = std::function<bool(std::string_view path, bool isCollection)>;
    // Whether a collection that is told is asked for what it holds; may be empty: all are.
    using Enters = std::function<bool(std::string_view path)>;

    Walk(Remote& remote, std::string rootUrl, Filter filter = {}, Enters enters = {});
    ~Walk();
    // Collections that lie so deep are not asked for what they hold; the root's depth is 0.
    void endAbove(size_t depth) { depthOfEnd_ = depth; }
    // Of all but the root only where its answer tells one.
    void askForFileIds() { wanted_.fileIds = true; }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    // The next one; nothing after the last. What is asked for ahead is bounded by what waits.
    Task<std::optional<WalkedCollection>> next();
    // Hands each over that can be listed, in turn. fail is told of the others, and of what is left
    // out. Gives the failure of the root, or an interrupt, which end it; it is finished then.
    using Taker = std::function<Task<>(WalkedCollection walked)>;
    using FailureTeller =
        std::function<void(const std::string& path, const std::string& url, const Error& error)>;
    Task<Result<void>> takeAll(Taker take, FailureTeller fail);
    // To be awaited before the walk goes: what was asked for ahead is answered.
    auto finish() { return asking_.finish(); }

    // Whether everything was told so far: nothing failed, and nothing was left out.
    bool isComplete() const { return complete_ && leftOut_.empty(); }
    // Collections whose own collections were not entered, and why: they are too deep, as those in
    // what holds itself are, or too many.
    struct LeftOut {
        std::string path, url;
        Error error;
    };
    const std::vector<LeftOut>& leftOut() const { return leftOut_; }

    // Of a member of the collection with that path.
    static std::string pathOf(const std::string& parent, const Resource& resource);

private:
    struct Node {
        std::string path, url;
        size_t depth = 0;
        bool asked = false;
        bool entered = false;  // its collections are among the nodes
        std::optional<Result<Members>> members{};
        std::coroutine_handle<> waiting{};  // for them
    };
    using Place = std::list<Node>::iterator;
    static size_t bytesOf(const Node& node);

    void askAhead();
    Task<> ask(Place node);
    void enter(Place node);
    void filterMembers(Node& node) const;

    Remote& remote_;
    Filter filter_;
    Enters enters_;
    size_t depthOfEnd_ = static_cast<size_t>(-1);
    WantedProperties wanted_;
    std::list<Node> nodes_;        // in their order; the first is the next
    size_t waitingResources_ = 0;  // of collections that came before their turn
    bool complete_ = true;
    uint64_t nodeBytes_ = 0;  // of all nodes, but for their members
    std::vector<LeftOut> leftOut_;
    TaskGroup asking_;
};

}  // namespace quillon
