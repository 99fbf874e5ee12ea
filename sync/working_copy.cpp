#include "sync/working_copy.hpp"

#include <utility>

#include "client/remote/remote.hpp"
#include "sync/pair.hpp"
#include "sync/sync.hpp"

namespace quillon::sync {

WorkingCopy::WorkingCopy(Pair pair) : pair_(std::make_unique<Pair>(std::move(pair))) {}
WorkingCopy::WorkingCopy(WorkingCopy&&) noexcept = default;
WorkingCopy& WorkingCopy::operator=(WorkingCopy&&) noexcept = default;
WorkingCopy::~WorkingCopy() = default;

Result<std::optional<WorkingCopy>> WorkingCopy::find(const std::filesystem::path& folder) {
    Result<std::optional<Pair>> pair = Pair::find(folder);
    if (!pair) return std::move(pair).error();
    if (!*pair) return std::optional<WorkingCopy>();
    return std::optional(WorkingCopy(std::move(**pair)));
}

Result<WorkingCopy> WorkingCopy::make(const std::filesystem::path& folder,
                                      const Address& collection,
                                      const std::vector<std::string>& rules) {
    Result<std::optional<Pair>> known = Pair::find(folder);
    if (!known) return std::move(known).error();
    if (*known) {
        return localError(Kind::usage, (*known)->folder().string() + " is paired with " +
                                           (*known)->url() + ". Forget that pair first.");
    }
    Result<Pair> pair = Pair::make(folder, collection, rules);
    if (!pair) return std::move(pair).error();
    return WorkingCopy(std::move(*pair));
}

Result<void> WorkingCopy::forget(WorkingCopy copy) {
    return Pair::forget(std::move(*copy.pair_));
}

const std::filesystem::path& WorkingCopy::folder() const {
    return pair_->folder();
}

Result<Address> WorkingCopy::collection() const {
    return pair_->collection();
}

Result<SyncEnd> WorkingCopy::synchronise(const Extension& extension, const Login& login,
                                         SyncOptions options) {
    const Result<Address> address = collection();
    if (!address) return address.error();
    if (!options.tell) options.tell = [](const SyncEvent&) {};
    if (!options.remark) options.remark = [](const std::string&) {};
    Result<std::unique_ptr<Remote>> remote = Remote::open(extension, *address, login);
    if (!remote) return std::move(remote).error();
    return (*remote)->run(sync::synchronise(**remote, *pair_, options));
}

}  // namespace quillon::sync
