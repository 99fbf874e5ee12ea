// What a pair remembers between its runs: what both sides had when they were last the same, what is
// being changed, what was done, what failed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/memory/database.hpp"
#include "client/result.hpp"
#include "client/time.hpp"
#include "sync/node.hpp"
#include "sync/plan.hpp"

namespace quillon::sync {

// A change that is about to be made. What is left of a run that was killed is looked at, not
// believed.
struct Intent {
    int64_t id = 0;  // given by the state
    Act act = Act::fetch;
    std::string path{}, from{};
    std::string hidden{};   // the name, in the path's folder, under which the old file here may be
    std::string oldHash{};  // of what is replaced or removed, which the store has; empty: nothing
    std::string newHash{};  // of what replaces it; empty: not known
};

// What a run did, so that it can be shown and given back.
struct Deed {
    int64_t id = 0;   // given by the state
    int64_t run = 0;  // counted from 1
    Time when{};
    Act act = Act::fetch;
    std::string path{}, from{};
    std::string oldHash{};  // of what was replaced or removed; empty: nothing was
    std::string newHash{};  // of what is there since; empty: nothing is, or it is not known
    bool isFolder = false;
    bool isCertain = true;       // false: the run was killed, and may have done it or not
    vxhost::EntityTag newTag{};  // of what was stored there; empty: not known
};

// Of this moment.
Deed deedOf(int64_t run, Act act, const std::string& path, std::string oldHash = {},
            std::string newHash = {});

struct Failed {
    std::string path;
    std::string why;     // one sentence
    unsigned times = 0;  // in a row
    Time notBefore{};    // when a run tries it again
};

// A version of theirs beside a file in conflict, under a name of ours, which is never sent.
struct ConflictCopy {
    std::string copy, path;  // both in the folder
    ThereState there;        // the version; its hash is known
};

// A version of theirs whose content was compared, and is not what both sides have.
struct KnownVersion {
    std::string path;
    ThereState there;  // its hash is known

    bool operator==(const KnownVersion&) const = default;
};

// What an old file that went into the store was; an editor may still have it open.
struct LateFile {
    std::string name;  // in the store's directory of such files
    std::string path;  // where it was
    std::string hash;
    uint64_t size = 0;
    int64_t modifiedNs = 0;
};

// Changes of the state that are made together or not at all: moves before nodes, and what goes
// before what is added.
struct StateChange {
    std::vector<Intent> intents{};  // to be added; commit() gives them their ids
    std::vector<int64_t> endedIntents{};
    std::vector<std::pair<std::string, std::optional<BaseNode>>> nodes{};  // nothing: forgotten
    std::vector<std::pair<std::string, std::string>> moves{};  // of base paths, and all below them
    std::vector<Deed> deeds{};
    std::vector<Failed> failures{};
    std::vector<std::string> mended{};  // paths that failed before
    std::vector<ConflictCopy> copies{};
    std::vector<std::string> goneCopies{};  // by their own paths
    std::vector<LateFile> late{};
    std::vector<std::string> goneLate{};

    bool isEmpty() const;
};

// For one thread. What cannot be read or written is an Error of Kind::local that names the file.
class State {
public:
    // A damaged one is set aside so that the folder can be paired anew, which the failure says.
    enum class Damaged : bool { isLeft, isSetAside };
    // Made, if it is not there. One that a later quillon wrote is refused with a sentence.
    static Result<State> open(const std::filesystem::path& directory,
                              Damaged damaged = Damaged::isSetAside);
    // The same for who changes nothing, also where its disk is full or cannot be written.
    static Result<State> openToLook(const std::filesystem::path& directory);

    // By names such as "url" and "folder".
    Result<std::optional<std::string>> setting(std::string_view name) const;
    Result<void> set(std::string_view name, std::string_view value);

    Result<BaseTree> base() const;
    Result<std::optional<BaseNode>> node(const std::string& path) const;
    Result<std::vector<Intent>> intents() const;
    Result<std::vector<Deed>> deeds(int64_t run) const;  // 0: of all runs; in their order
    Result<std::vector<Failed>> failures() const;
    Result<std::vector<ConflictCopy>> copies() const;  // as they were noted, the latest last
    // What the last run learned so, that the next one need not ask for it again.
    Result<std::vector<KnownVersion>> compared() const;
    Result<void> setCompared(const std::vector<KnownVersion>& compared);
    Result<std::vector<LateFile>> late() const;

    // Its number. undoes: that of the run that it takes back; 0: of none.
    Result<int64_t> beginRun(Time when, int64_t undoes = 0);
    Result<std::vector<int64_t>> undoingRuns() const;
    Result<int64_t> lastRun() const;  // 0: there was none
    // Runs but for the last so many, and what they did, are forgotten.
    Result<void> forgetRuns(int64_t keep);

    // Durable when it returns: what follows it may change files. In one transaction.
    Result<void> commit(StateChange& change);

private:
    State(std::filesystem::path path, Database database, Damaged damaged)
        : path_(std::move(path)), database_(std::move(database)), damaged_(damaged) {}
    // What body gives, to which the database is handed.
    template <class Body>
    auto use(Body&& body) const;
    Result<void> prepare() const;
    Error setAside(const DamagedDatabase& damage) const;

    std::filesystem::path path_;
    mutable std::optional<Database> database_;  // nothing once it was damaged
    mutable std::optional<Error> damage_{};     // of what was set aside
    Damaged damaged_;
};

}  // namespace quillon::sync
