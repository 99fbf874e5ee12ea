// A folder and a collection that are kept the same, by any program: what it includes is installed.
//
//   auto copy = sync::WorkingCopy::make(folder, *address);
//   auto end = copy->synchronise(*extension, login, options);
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/address.hpp"
#include "client/collection.hpp"
#include "client/extension.hpp"
#include "client/result.hpp"
#include "sync/sync_options.hpp"

namespace quillon::sync {

class Pair;

// It is the same pair that the program quillon knows, whose "status", "resolve" and "undo" serve
// it, too. For one thread at a time.
class WorkingCopy {
public:
    // That of the folder, or of one that it is in; nothing where none is paired.
    static Result<std::optional<WorkingCopy>> find(const std::filesystem::path& folder);
    // Pairs a folder that is there; nothing is asked of the server or moved before the first run,
    // which makes the collection where there is none. The user of the address is kept, its password
    // is not. rules: what is left out or taken, as "x *.tmp" or "i keep.tmp", in their order. Fails
    // with Kind::usage where the folder is in one that is paired, or has one in it.
    static Result<WorkingCopy> make(const std::filesystem::path& folder, const Address& collection,
                                    const std::vector<std::string>& rules = {});
    // Both sides stay as they are; conflicts' copies here become ordinary files.
    static Result<void> forget(WorkingCopy copy);

    WorkingCopy(WorkingCopy&&) noexcept;
    WorkingCopy& operator=(WorkingCopy&&) noexcept;
    ~WorkingCopy();

    const std::filesystem::path& folder() const;
    Result<Address> collection() const;  // with the user; ends in a slash

    // One run. Fails when nothing could be begun, as with Kind::locked while another one has the
    // pair, or when it was interrupted; what is done is done, and the next run goes on. tell and
    // remark of the options may be empty.
    Result<SyncEnd> synchronise(const Extension& extension, const Login& login,
                                SyncOptions options = {});

private:
    explicit WorkingCopy(Pair pair);

    std::unique_ptr<Pair> pair_;
};

}  // namespace quillon::sync
