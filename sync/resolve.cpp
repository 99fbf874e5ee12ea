#include "sync/resolve.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/outcome.hpp"
#include "client/tree/known_file.hpp"
#include "platform/files/content.hpp"
#include "sync/copies.hpp"
#include "sync/replace_here.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr size_t mostTextBytes = size_t{64} << 20;

bool isText(const fs::path& file) {
    const Result<std::string> text = caught([&]() -> Result<std::string> {
        return vxhost::readWhole(vxhost::openForReading(file), file, mostTextBytes);
    });
    return text && text->find('\0') == std::string::npos && isUtf8(*text);
}

Error theirsGone(const ConflictCopy& theirs) {
    return localError(Kind::changedHere,
                      fmt::format("{} is gone, or was changed here. quillon sync fetches theirs "
                                  "once more, beside it; what you changed stays.",
                                  theirs.copy));
}

}  // namespace

Result<Resolver> Resolver::open(Pair& pair, const StoreLimits& limits) {
    Result<HeldPair> held = HeldPair::open(pair, limits);
    if (!held) return std::move(held).error();
    return Resolver(pair, std::move(*held));
}

Result<OpenConflict> Resolver::find(const std::string& path) const {
    Result<std::vector<ConflictCopy>> copies = pair_.state().copies();
    if (!copies) return std::move(copies).error();
    OpenConflict conflict{path, {}, {}};
    for (ConflictCopy& each : *copies) {
        if (each.path == path) conflict.all.push_back(std::move(each));
    }
    if (conflict.all.empty()) {
        return localError(Kind::notFound,
                          "It is in no conflict that can be settled so. quillon status shows what "
                          "is; of a file against a folder, give one of them another name.");
    }
    conflict.theirs = conflict.all.back();
    return conflict;
}

Result<void> Resolver::settle(const OpenConflict& conflict, const BaseNode& node,
                              bool removesCopies) {
    StateChange change;
    change.nodes.emplace_back(conflict.path, node);
    change.mended.push_back(conflict.path);
    for (const ConflictCopy& each : conflict.all) {
        Result<void> gone;
        if (removesCopies) {
            gone = removeCopy(held_.folder, held_.store, each, change);
        } else {
            change.goneCopies.push_back(each.copy);
        }
        if (!gone) return gone;
    }
    if (Result<void> stored = held_.folder.storeAll(); !stored) return stored;
    return pair_.state().commit(change);
}

// As if theirs had been fetched and then changed here.
Result<void> Resolver::takeMine(const OpenConflict& conflict) {
    BaseNode node;
    node.here.hash = conflict.theirs.there.hash;
    node.there = conflict.theirs.there;
    return settle(conflict, node, true);
}

Result<void> Resolver::takeBoth(const OpenConflict& conflict) {
    BaseNode node;
    node.here.hash = conflict.theirs.there.hash;
    node.there = conflict.theirs.there;
    return settle(conflict, node, false);
}

Result<void> Resolver::replaceMine(const OpenConflict& conflict, NewFile& file,
                                   std::optional<Time> modified) {
    const Result<FileHere> mine = readFileHere(held_.folder, conflict.path);
    if (!mine) return mine.error();
    if (mine->isUnread()) {
        return localError(Kind::local, "Yours cannot be read, and was left alone.");
    }
    const Result<int64_t> run = pair_.state().beginRun(timeNow());
    if (!run) return run.error();
    return replaceHere(held_.folder, pair_.state(), held_.store, conflict.path, *mine, file, *run,
                       modified);
}

Result<void> Resolver::takeTheirs(const OpenConflict& conflict) {
    const std::string& hash = conflict.theirs.there.hash;
    Result<NewFile> file =
        copyToNewFile(held_.folder, held_.folder.shown(conflict.theirs.copy), conflict.path);
    if (!file || file->hash() != hash) return theirsGone(conflict.theirs);
    const std::optional<Time> modified = conflict.theirs.there.modified;
    if (Result<void> replaced = replaceMine(conflict, *file, modified); !replaced) return replaced;
    const Result<std::optional<LocalEntry>> now = held_.folder.look(conflict.path);
    BaseNode node;
    if (now && *now) node.here = hereStateOf(**now);
    node.here.changedNs = 0;  // the next run reads it
    node.here.hash = hash;
    node.there = conflict.theirs.there;
    return settle(conflict, node, true);
}

Result<Resolver::MergeInput> Resolver::mergeInput(const OpenConflict& conflict) const {
    const Result<std::optional<BaseNode>> base = pair_.state().node(conflict.path);
    if (!base) return base.error();
    const std::string hash = *base ? (*base)->here.hash : std::string();
    const std::optional<fs::path> common = hash.empty() ? std::nullopt : held_.store.find(hash);
    if (!common) {
        return localError(Kind::refused,
                          "The version that both sides had is not kept, so that they cannot be "
                          "merged. --both keeps both.");
    }
    MergeInput input{held_.folder.shown(conflict.path), *common,
                     held_.folder.shown(conflict.theirs.copy)};
    if (hashOf(held_.folder, conflict.theirs.copy, Links::left) != conflict.theirs.there.hash) {
        return theirsGone(conflict.theirs);
    }
    for (const fs::path& each : {input.mine, input.common, input.theirs}) {
        if (isText(each)) continue;
        return localError(Kind::refused, "It is no text, and cannot be merged. --both keeps both.");
    }
    return input;
}

Result<void> Resolver::takeMerged(const OpenConflict& conflict, std::string_view text) {
    Result<NewFile> file = held_.folder.makeFile(conflict.path);
    if (!file) return std::move(file).error();
    if (Result<void> written = file->write(text); !written) return written;
    if (Result<void> replaced = replaceMine(conflict, *file, {}); !replaced) return replaced;
    return takeMine(conflict);
}

}  // namespace quillon::sync
