// Contents that were replaced or removed on either side, by their hashes, so that they can be given
// back. One for all pairs of a person.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/tree/local_entry.hpp"
#include "platform/base/descriptor.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

struct StoreLimits {
    uint64_t mostBytes = uint64_t{1} << 30;
    std::chrono::hours longest = std::chrono::hours(24 * 30);
    // Of versions that both sides have, which only serve to merge: texts up to a size.
    uint64_t mostCommonBytes = uint64_t{256} << 20;
    uint64_t mostCommonText = uint64_t{1} << 20;
};

// For one thread; several processes may use the same directory.
class Store {
public:
    static Result<Store> open(const std::filesystem::path& directory, const StoreLimits& limits);

    // Makes room for so many bytes by dropping what is oldest, but nothing that this Store took.
    // Fails with Kind::local when what it took itself would not fit any more.
    Result<void> reserve(uint64_t bytes);

    bool has(const std::string& hash) const;
    // Where the content is; nothing where it is not. It is not to be changed.
    std::optional<std::filesystem::path> find(const std::string& hash) const;

    // Takes a file itself, so that what somebody still writes into it gets here, too: a rename, or,
    // on another file system, a durable copy and a removal. hidden: its name in the folder. The
    // late file is to be noted in the state, and looked at by checkLate() in the next run.
    Result<LateFile> take(const vxhost::Descriptor& folder, const std::string& hidden,
                          const std::string& path, const std::string& hash);
    // The content of an open file, copied (shared with it where the file system can) and durable.
    // Fails with Kind::changedHere when it has another hash.
    Result<void> copy(const vxhost::Descriptor& file, const std::string& shown,
                      const std::string& hash);
    // A file of the store's own that is being filled, on the store's file system: rename it in.
    std::filesystem::path newName() const;
    Result<void> adopt(const std::filesystem::path& file, const std::string& hash);

    // A version that both sides have now, if it is a text and small; failures are nobody's matter.
    void keepCommon(const vxhost::Descriptor& file, uint64_t size, const std::string& hash);

    // What was late becomes an ordinary content. Gives those in which somebody has written since,
    // with the hash of what they hold now, under which it is kept.
    Result<std::vector<LateFile>> checkLate(const std::vector<LateFile>& late);

    // Drops what is too old or too much.
    void prune();

private:
    Store(std::filesystem::path directory, const StoreLimits& limits)
        : directory_(std::move(directory)), limits_(limits) {}

    std::filesystem::path directory_;
    StoreLimits limits_;
    std::set<std::string> taken_;  // hashes, by this Store
    uint64_t takenBytes_ = 0;
};

}  // namespace quillon::sync
