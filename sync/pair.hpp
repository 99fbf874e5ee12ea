// A folder here and a collection there that belong together, as a person once said.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/address.hpp"
#include "client/result.hpp"
#include "client/tree/filter.hpp"
#include "platform/base/descriptor.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// A line of what is left out or taken: "x PATTERN", "i PATTERN", in their order.
using FilterRules = std::vector<std::string>;

// Who only looks needs no room, nor a disk that can be written.
enum class Purpose : bool { change, look };

class Pair {
public:
    // That of the folder, or of one that it is in; nothing where none is paired.
    static Result<std::optional<Pair>> find(const std::filesystem::path& folder,
                                            Purpose purpose = Purpose::change);
    // Nothing else changes. Fails with Kind::usage where the folder is in one that is paired, or
    // has one in it. The user of the address is kept, its password is not.
    static Result<Pair> make(const std::filesystem::path& folder, const Address& collection,
                             const FilterRules& rules);
    // Both sides stay as they are; conflicts' copies here become ordinary files.
    static Result<void> forget(Pair pair);

    const std::filesystem::path& folder() const { return folder_; }
    const std::string& url() const { return url_; }  // ends in a slash
    // The same with the user that it was paired for.
    Result<Address> collection() const;
    const FilterRules& rules() const { return rules_; }
    Result<void> setRules(const FilterRules& rules);
    void tryRules(const FilterRules& rules) { rules_ = rules; }  // of this run alone
    State& state() { return state_; }
    const State& state() const { return state_; }
    // Of a path that a person typed; nothing where it is not in the folder.
    std::optional<std::string> pathOf(const std::filesystem::path& typed) const;

    // While it is open no other run has the pair. Fails with Kind::locked where one has.
    Result<vxhost::Descriptor> hold() const;

    // The rules, and those of .quillonignore in the folder behind them. Its text is what counts.
    struct EffectiveFilter {
        Filter filter;
        std::string text;
    };
    Result<EffectiveFilter> filter() const;

private:
    Pair(std::filesystem::path directory, State state)
        : directory_(std::move(directory)), state_(std::move(state)) {}
    static Result<Pair> open(const std::filesystem::path& directory, Purpose purpose);

    std::filesystem::path directory_;  // of its state
    std::filesystem::path folder_;
    std::string url_;
    FilterRules rules_;
    State state_;
};

// Of the states of all pairs, as far as they can be listed.
std::vector<std::filesystem::path> stateDirectories();

// Where contents of all pairs are kept.
std::filesystem::path storeDirectory();

}  // namespace quillon::sync
