// How a person settles a conflict: on this side alone, and the next run does the rest.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/tree/new_file.hpp"
#include "sync/held_pair.hpp"

namespace quillon::sync {

// The conflict of a file, as the last run left it.
struct OpenConflict {
    std::string path;
    ConflictCopy theirs;            // the latest of them
    std::vector<ConflictCopy> all;  // with those of earlier versions
};

class Resolver {
public:
    // Holds the pair. Everything fails with Kind::notFound for what is in no conflict, and leaves
    // both sides alone then.
    static Result<Resolver> open(Pair& pair, const StoreLimits& limits);

    Result<OpenConflict> find(const std::string& path) const;

    // The file here goes over theirs with the next run, unless they change it once more.
    Result<void> takeMine(const OpenConflict& conflict);
    // Theirs takes the file's place; that goes to the store.
    Result<void> takeTheirs(const OpenConflict& conflict);
    // The file here stays under its name, and theirs under the other one is a file like others.
    Result<void> takeBoth(const OpenConflict& conflict);

    // What a merge needs: files that are not to be changed. Fails with Kind::refused where the
    // version that both had is not in the store, or one of the three is no text.
    struct MergeInput {
        std::filesystem::path mine, common, theirs;
    };
    Result<MergeInput> mergeInput(const OpenConflict& conflict) const;
    // The merged text takes the file's place, which goes to the store, and then goes over theirs.
    Result<void> takeMerged(const OpenConflict& conflict, std::string_view text);

private:
    Resolver(Pair& pair, HeldPair held) : pair_(pair), held_(std::move(held)) {}
    // The file here gets a new content, by what place does.
    Result<void> replaceMine(const OpenConflict& conflict, NewFile& file,
                             std::optional<Time> modified);
    Result<void> settle(const OpenConflict& conflict, const BaseNode& node, bool removesCopies);

    Pair& pair_;
    HeldPair held_;
};

}  // namespace quillon::sync
