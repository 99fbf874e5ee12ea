#include "sync/find_moves.hpp"

#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace quillon::sync {

namespace {

template <class Tree>
const auto* findIn(const Tree& tree, const std::string& path) {
    const auto at = tree.find(path);
    return at == tree.end() ? nullptr : &at->second;
}

template <class Tree>
bool isFileIn(const Tree& tree, const std::string& path) {
    const auto* node = findIn(tree, path);
    return node && node->kind == NodeKind::file;
}

bool isAtOrBelow(const std::string& path, const std::string& top) {
    return path.starts_with(top) && (path.size() == top.size() || path[top.size()] == '/');
}

// Calls use(rest, node) for what is below a folder, until one says false.
template <class Tree, class Use>
bool forAllBelow(const Tree& tree, const std::string& folder, const Use& use) {
    const std::string start = folder + "/";
    for (auto at = tree.lower_bound(start); at != tree.end() && at->first.starts_with(start); ++at)
        if (!use(at->first.substr(folder.size()), at->second)) return false;
    return true;
}

template <class Tree>
void renameOne(Tree& tree, const std::string& from, const std::string& to) {
    auto node = tree.extract(from);
    if (!node) return;
    node.key() = to;
    tree.insert(std::move(node));
}

template <class Tree>
void renameAll(Tree& tree, const std::string& from, const std::string& to) {
    std::vector<std::string> rests;
    forAllBelow(tree, from, [&](std::string rest, const auto&) {
        rests.push_back(std::move(rest));
        return true;
    });
    renameOne(tree, from, to);
    for (const std::string& rest : rests) renameOne(tree, from + rest, to + rest);
}

// Whether no folder above is something else on either side.
bool areFoldersAbove(const Trees& trees, const std::string& path) {
    for (size_t end = path.rfind('/'); end != std::string::npos && end != 0;
         end = path.rfind('/', end - 1)) {
        const std::string above = path.substr(0, end);
        const HereNode* here = findIn(trees.here, above);
        const ThereNode* there = findIn(trees.there, above);
        if ((here && here->kind != NodeKind::folder) || (there && there->kind != NodeKind::folder))
            return false;
    }
    return true;
}

// What has a key of its own, such as an inode; what several have is nobody's.
template <class Key>
class Owners {
public:
    void add(const Key& key, const std::string& path) {
        if (key == Key{}) return;
        const auto [at, isNew] = paths_.try_emplace(key, path);
        if (!isNew) at->second.clear();
    }
    const std::string* find(const Key& key) const {  // nothing: nobody's
        const auto at = paths_.find(key);
        return at == paths_.end() || at->second.empty() ? nullptr : &at->second;
    }
    bool isEmpty() const { return paths_.empty(); }

private:
    std::unordered_map<Key, std::string> paths_;
};

using Inodes = Owners<uint64_t>;

Inodes goneHere(const Trees& trees, NodeKind kind) {
    Inodes gone;
    for (const auto& [path, node] : trees.base)
        if (node.kind == kind && !trees.here.contains(path)) gone.add(node.here.inode, path);
    return gone;
}

Inodes newHere(const Trees& trees, NodeKind kind) {
    Inodes made;
    for (const auto& [path, node] : trees.here)
        if (node.kind == kind && !trees.base.contains(path)) made.add(node.state.inode, path);
    return made;
}

// A new folder soon gets the inode of a removed one, so a member must have come along: under its
// name, or a file under another.
bool holdsMember(const Trees& trees, const std::string& from, const std::string& to) {
    bool isEmpty = true, isHeld = false;
    std::set<std::pair<uint64_t, std::string_view>> files;
    forAllBelow(trees.base, from, [&](const std::string& rest, const BaseNode& node) {
        isEmpty = false;
        isHeld = trees.here.contains(to + rest);
        if (node.kind == NodeKind::file) files.emplace(node.here.inode, node.here.hash);
        return !isHeld;
    });
    if (isEmpty || isHeld) return true;
    return !forAllBelow(trees.here, to, [&](const std::string&, const HereNode& node) {
        return !files.contains({node.state.inode, node.state.hash});
    });
}

// Whether nothing that is blocked on a side would be touched there.
bool mayMoveAll(const Trees& trees, const std::string& from, const std::string& to) {
    return forAllBelow(trees.there, from, [&](const std::string& rest, const ThereNode& there) {
        const HereNode* here = findIn(trees.here, to + rest);
        return there.kind != NodeKind::blocked && !(here && here->kind == NodeKind::blocked);
    });
}

// A path of before the moves, as they leave it.
std::string pathAfter(const Moves& moves, std::string path) {
    for (const Action& move : moves)
        if (isAtOrBelow(path, move.from)) path.replace(0, move.from.size(), move.path);
    return path;
}

void moveFoldersThere(Trees& trees, Moves& moves) {
    const Inodes gone = goneHere(trees, NodeKind::folder);
    if (gone.isEmpty()) return;
    const Inodes made = newHere(trees, NodeKind::folder);
    for (const auto& [to, here] : trees.here) {  // folders before what is in them
        if (here.kind != NodeKind::folder || trees.base.contains(to) || trees.there.contains(to))
            continue;
        const std::string* was = gone.find(here.state.inode);
        if (!was || !made.find(here.state.inode)) continue;
        const std::string from = pathAfter(moves, *was);
        const ThereNode* there = findIn(trees.there, from);
        const bool hadNone = forAllBelow(trees.base, to, [](auto&&...) { return false; });
        if (!there || there->kind != NodeKind::folder || !hadNone ||
            !areFoldersAbove(trees, from) || !areFoldersAbove(trees, to) ||
            !holdsMember(trees, from, to) || !mayMoveAll(trees, from, to))
            continue;
        renameAll(trees.base, from, to);
        renameAll(trees.there, from, to);
        moves.push_back({.act = Act::moveThere, .path = to, .from = from, .isFolder = true});
    }
}

void moveFilesThere(Trees& trees, Moves& moves) {
    const Inodes gone = goneHere(trees, NodeKind::file);
    if (gone.isEmpty()) return;
    const Inodes made = newHere(trees, NodeKind::file);
    for (const auto& [to, here] : trees.here) {
        if (here.kind != NodeKind::file || trees.base.contains(to) || trees.there.contains(to))
            continue;
        const std::string* from = gone.find(here.state.inode);
        if (!from || !made.find(here.state.inode)) continue;
        const BaseNode& base = trees.base.at(*from);
        const ThereNode* there = findIn(trees.there, *from);
        if (here.state.hash != base.here.hash || !there || isUnchangedThere(base, *there) != true ||
            !areFoldersAbove(trees, *from) || !areFoldersAbove(trees, to))
            continue;
        renameOne(trees.base, *from, to);
        renameOne(trees.there, *from, to);
        moves.push_back({.act = Act::moveThere, .path = to, .from = *from});
    }
}

// By what of a file there is kept when it is moved.
struct Marks {
    Owners<std::string> fileIds, tags;

    void add(const ThereState& state, const std::string& path) {
        fileIds.add(state.fileId, path);
        tags.add(state.tag.text, path);
    }
};

const std::string* findMovedThere(const Trees& trees, const Marks& gone, const Marks& all,
                                  const ThereState& now) {
    if (all.fileIds.find(now.fileId))
        if (const std::string* from = gone.fileIds.find(now.fileId)) return from;
    const std::string* from = all.tags.find(now.tag.text) ? gone.tags.find(now.tag.text) : nullptr;
    if (!from) return nullptr;
    const BaseNode* base = findIn(trees.base, *from);
    const bool isSame =
        base && now.size == base->there.size && now.modified == base->there.modified;
    return isSame ? from : nullptr;
}

void moveFilesHere(Trees& trees, Moves& moves) {
    Marks gone, all;
    for (const auto& [path, node] : trees.base)
        if (node.kind == NodeKind::file && !trees.there.contains(path)) gone.add(node.there, path);
    if (gone.fileIds.isEmpty() && gone.tags.isEmpty()) return;
    for (const auto& [path, node] : trees.there)
        if (node.kind == NodeKind::file) all.add(node.state, path);
    for (const auto& [to, there] : trees.there) {
        if (there.kind != NodeKind::file || trees.base.contains(to) || trees.here.contains(to))
            continue;
        const std::string* from = findMovedThere(trees, gone, all, there.state);
        const BaseNode* base = from ? findIn(trees.base, *from) : nullptr;
        const HereNode* here = from ? findIn(trees.here, *from) : nullptr;
        if (!base || !here || !isUnchangedHere(*base, *here) || !areFoldersAbove(trees, *from) ||
            !areFoldersAbove(trees, to))
            continue;
        renameOne(trees.base, *from, to);
        renameOne(trees.here, *from, to);
        moves.push_back({.act = Act::moveHere, .path = to, .from = *from});
    }
}

}  // namespace

std::string pathBefore(const Moves& moves, std::string path) {
    for (auto move = moves.rbegin(); move != moves.rend(); ++move)
        if (move->act == Act::moveThere && isAtOrBelow(path, move->path))
            path.replace(0, move->path.size(), move->from);
    return path;
}

Moves findMoves(Trees& trees, const PlanOptions& options) {
    Moves moves;
    if (!options.mayRemove || !options.mayMove) return moves;
    if (options.direction != Direction::pull) {
        moveFoldersThere(trees, moves);
        moveFilesThere(trees, moves);
    }
    if (options.direction != Direction::push) moveFilesHere(trees, moves);
    return moves;
}

}  // namespace quillon::sync
