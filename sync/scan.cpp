#include "sync/scan.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

#include "client/memory/file_note.hpp"
#include "client/outcome.hpp"
#include "client/own_file.hpp"
#include "platform/files/writers.hpp"
#include "sync/holders.hpp"

namespace quillon::sync {
namespace {

constexpr int64_t second = 1'000'000'000;  // nanoseconds
constexpr int64_t leastAge = 2 * second;
constexpr int64_t clockGrain = second / 50;  // of the times of files; no kernel's is coarser

int64_t nanosecondsNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// What quillon notes for itself is never sent, as where somebody keeps the whole home the same.
bool isOurState(const LocalEntry& folder) {
    static const std::optional<LocalEntry> own = []() -> std::optional<LocalEntry> {
        struct stat found {};
        if (stat(stateDirectory().c_str(), &found) != 0) return std::nullopt;
        return localEntryOf(found);
    }();
    return own && folder.device == own->device && folder.inode == own->inode;
}

// For who is told the path before it.
std::string whyOf(const Error& error, const std::string& path) {
    const std::string& why = error.sentences.front();
    return why.starts_with(path + ": ") ? "It cannot be read" + why.substr(path.size()) : why;
}

class Scanning {
public:
    Scanning(const LocalFolder& folder, const Filter& filter, const std::set<std::string>& copies)
        : folder_(folder), filter_(filter), copies_(copies) {}

    Result<void> scan(const std::string& path) {
        const Result<std::vector<ScannedEntry>> found = folder_.scan(path, Links::left);
        if (!found) return found.error();
        for (const ScannedEntry& each : *found) {
            add(path.empty() ? each.name : path + '/' + each.name, each);
        }
        return {};
    }
    HereScan take() { return std::move(scan_); }

private:
    void add(const std::string& path, const ScannedEntry& each) {
        const bool isFolder = each.entry.kind == LocalKind::folder;
        if (each.unfit == Unfit::unfinished || copies_.contains(path)) return;
        if (!filter_.takes(path, isFolder) || (isFolder && isOurState(each.entry))) {
            return addHolders(path, scan_.holdLeftOut);
        }
        HereNode node{isFolder ? NodeKind::folder : NodeKind::file, hereStateOf(each.entry)};
        if (each.unfit != Unfit::none) {
            node = {NodeKind::blocked, {}, std::string(whyUnfit(each.unfit))};
            if (each.unfit == Unfit::link) node.why = "It is a symbolic link.";
            if (each.unfit == Unfit::unreadable) noteUnseen(path);
        }
        const auto at = scan_.tree.insert_or_assign(path, std::move(node)).first;
        if (at->second.kind != NodeKind::folder) return;
        if (const Result<void> inner = scan(path); !inner) {
            at->second = {NodeKind::blocked, {}, whyOf(inner.error(), path)};
            noteUnseen(path);
        }
    }

    void noteUnseen(const std::string& path) {
        if (scan_.unseen.empty()) scan_.unseen = path;
    }

    const LocalFolder& folder_;
    const Filter& filter_;
    const std::set<std::string>& copies_;
    HereScan scan_;
};

// What was copied or unpacked with its date, or moved, is as old as that. A date in the future
// tells nothing.
int64_t untilOld(const HereState& state) {
    const int64_t age = nanosecondsNow() - state.modifiedNs;
    return age < 0 ? 0 : std::max<int64_t>(leastAge - age, 0);
}

// As a run left it a moment ago; only its content tells whether it still is that.
bool hasOurStat(HereState base, const HereState& here) {
    if (base.changedNs == 0) base.changedNs = here.changedNs;
    return hasSameStat(base, here);
}

void block(HereNode& node, std::string why) {
    node.kind = NodeKind::blocked;
    node.why = std::move(why);
}

constexpr const char* beingWritten = "It is being written; the next run takes it.";

// The state, with the hash, of a file that nobody changes meanwhile.
void read(const LocalFolder& folder, const std::string& path, HereNode& node) {
    const Result<vxhost::Descriptor> file = folder.openForReading(path, Links::left);
    if (!file) return block(node, file.error().sentences.front());
    if (vxhost::isOpenForWriting(*file)) return block(node, beingWritten);
    const Result<void> done = caught([&]() -> Result<void> {
        const LocalEntry before = lookAt(*file);
        std::string hash = hashFile(*file, folder.shown(path).string());
        if (!isUntouched(before, lookAt(*file))) {
            block(node, beingWritten);
            return {};
        }
        node.state = hereStateOf(before);
        node.state.hash = std::move(hash);
        return {};
    });
    if (!done) block(node, done.error().sentences.front());
}

// Paths of files of the base that are gone here, by their inodes: what has one of these may be such
// a file under another name.
std::map<uint64_t, size_t> goneInodes(const Trees& trees) {
    std::map<uint64_t, size_t> inodes;
    for (const auto& [path, base] : trees.base) {
        if (base.kind == NodeKind::file && !trees.here.contains(path)) ++inodes[base.here.inode];
    }
    return inodes;
}

}  // namespace

HereState hereStateOf(const LocalEntry& entry) {
    return {entry.inode, entry.size, entry.modifiedNs, entry.changedNs, {}};
}

HereState settled(HereState state) {
    if (nanosecondsNow() - state.changedNs < clockGrain) state.changedNs = 0;
    return state;
}

bool hasSameStat(const HereState& base, const HereState& here) {
    return base.inode == here.inode && base.size == here.size &&
           base.modifiedNs == here.modifiedNs && base.changedNs == here.changedNs;
}

Result<HereScan> scanHere(const LocalFolder& folder, const Filter& filter,
                          const std::set<std::string>& copies) {
    Scanning scanning(folder, filter, copies);
    if (Result<void> scanned = scanning.scan({}); !scanned) return std::move(scanned).error();
    return scanning.take();
}

void readChanged(const LocalFolder& folder, Trees& trees, Young young) {
    struct Changed {
        const std::string& path;
        HereNode& node;
        bool needsHash;
    };
    std::vector<Changed> changed;
    const std::map<uint64_t, size_t> gone = goneInodes(trees);
    int64_t wait = 0;
    for (auto& [path, node] : trees.here) {
        if (node.kind != NodeKind::file) continue;
        const auto base = trees.base.find(path);
        const bool isKnown = base != trees.base.end() && base->second.kind == NodeKind::file;
        if (isKnown && hasSameStat(base->second.here, node.state)) continue;
        const auto there = trees.there.find(path);
        const bool facesFile = there != trees.there.end() && there->second.kind == NodeKind::file;
        changed.push_back({path, node, isKnown || facesFile || gone.contains(node.state.inode)});
        const bool isOurs = isKnown && hasOurStat(base->second.here, node.state);
        if (!isOurs) wait = std::max(wait, untilOld(node.state));
    }
    if (wait > 0 && young == Young::isWaitedFor) {
        const timespec time{wait / second, wait % second};
        nanosleep(&time, nullptr);  // a signal ends it, and the run soon after
    }
    for (auto& [path, node, needsHash] : changed) {
        const Result<std::optional<LocalEntry>> found = folder.look(path);
        if (!found || !*found || (*found)->kind != LocalKind::file) {
            block(node, beingWritten);
            continue;
        }
        const HereState seen = hereStateOf(**found);
        const bool isStill = hasSameStat(node.state, seen);
        node.state = seen;
        if (!isStill && untilOld(seen) > 0) {
            block(node, beingWritten);
        } else if (needsHash) {
            read(folder, path, node);
        }
    }
}

}  // namespace quillon::sync
