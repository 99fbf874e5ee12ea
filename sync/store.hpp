// Contents that were replaced or removed on either side, by their hashes, so that they can be given
// back. One for all pairs of a person.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/tree/local_folder.hpp"
#include "platform/base/descriptor.hpp"
#include "sync/state.hpp"
#include "sync/store_limits.hpp"

namespace quillon::sync {

// What became of late files.
struct CheckedLate {
    // In which somebody has written since, with the hash of what they hold now, under which it is
    // kept.
    std::vector<LateFile> changed;
    // Names of all that are late no more. The others, such as those that are still open for
    // writing, are to be looked at by the next run again.
    std::vector<std::string> settled;
};

// For one thread; several processes may use the same directory, and each drops what is old there.
class Store {
public:
    static Result<Store> open(const std::filesystem::path& directory, const StoreLimits& limits);

    // Makes room for so many bytes beside what is there by dropping what is oldest, but nothing
    // that this Store took. Fails with Kind::local when what it took itself, and was asked to make
    // room for, would not fit any more.
    Result<void> reserve(uint64_t bytes);

    // Whether the content is kept so that it outlives a power cut.
    bool has(const std::string& hash) const;
    // The same, for who is going to rely on it: it counts as taken now, and a version that was kept
    // to merge as one to be given back. False: it is to be taken or copied.
    Result<bool> keep(const std::string& hash);
    // Where the content is, also of such a version; nothing where it is not. It is not to be
    // changed, and somebody may be writing into what was taken a moment ago: who gives it back
    // looks at its hash.
    std::optional<std::filesystem::path> find(const std::string& hash) const;

    // Whether a late file of that name is here, as of a killed run that did not note it.
    bool hasLate(const std::string& name) const;

    // Fails with Kind::changedHere where a program has the file open for writing, and take() would
    // copy it: what is written after that would be lost.
    Result<void> checkWriters(const LocalFolder& folder, const std::string& path) const;
    // Takes a file itself, so that what somebody still writes into it gets here, too: a rename, or,
    // on another file system, a durable copy and a removal. hidden: its name in the folder, which
    // nothing else ever had, and its name here. version: as it was when it was decided to replace
    // it, with its hash. The late file is to be noted in the state, and looked at by checkLate() in
    // the next run; of one that a killed run took without noting it, name, path and hash do.
    Result<LateFile> take(const vxhost::Descriptor& folder, const std::string& hidden,
                          const std::string& path, const HereState& version);
    // The content of an open file, copied (shared with it where the file system can) and durable.
    // Fails with Kind::changedHere when it has another hash.
    Result<void> copy(const vxhost::Descriptor& file, const std::string& shown,
                      const std::string& hash);
    // A file of the store's own that is being filled, on the store's file system: rename it in.
    std::filesystem::path newName() const;
    // hash: of what was written into it.
    Result<void> adopt(const std::filesystem::path& file, const std::string& hash);

    // A version that both sides have now, if it is a text and small; failures are nobody's matter.
    void keepCommon(const vxhost::Descriptor& file, uint64_t size, const std::string& hash);

    // What was late becomes an ordinary content. What cannot be read or moved stays late.
    CheckedLate checkLate(const std::vector<LateFile>& late);

    // Drops what is too much, or too old by both clocks, but nothing that this Store took. One that
    // is wrong is so on one side; theirs: the server's; nothing: none goes for its age.
    void prune(std::optional<Time> theirs);

private:
    Store(std::filesystem::path directory, const StoreLimits& limits)
        : directory_(std::move(directory)), limits_(limits) {}
    enum class Known : bool { no, yes };  // whether its bytes were there before
    void noteTaken(const std::string& name, uint64_t size, Known known);
    std::optional<std::filesystem::path> findKept(const std::string& hash) const;
    bool keepAgain(const std::string& hash);

    std::filesystem::path directory_;
    StoreLimits limits_;
    std::set<std::string> taken_;              // by this Store: names of its files
    std::map<std::string, std::string> late_;  // hashes and names of those of them that are late
    uint64_t takenBytes_ = 0, commonBytes_ = 0;
    uint64_t promisedBytes_ = 0;     // that there was room for
    std::optional<uint64_t> total_;  // bytes of all, as far as they have been counted
};

}  // namespace quillon::sync
