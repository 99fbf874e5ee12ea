#include "sync/held_pair.hpp"

#include <fmt/format.h>

#include <utility>

#include "sync/pair_limits.hpp"

namespace quillon::sync {

Result<HeldPair> HeldPair::open(const Pair& pair, const StoreLimits& limits) {
    Result<vxhost::Descriptor> lock = pair.hold();
    if (!lock) return std::move(lock).error();
    Result<LocalFolder> folder = openFolder(pair);
    if (!folder) return std::move(folder).error();
    Result<Store> store = Store::open(storeDirectory(), limitsOfAll(limits));
    if (!store) return std::move(store).error();
    return HeldPair{std::move(*lock), std::move(*folder), std::move(*store)};
}

Result<LocalFolder> openFolder(const Pair& pair) {
    Result<LocalFolder> folder = LocalFolder::open(pair.folder());
    if (folder) return folder;
    return localError(Kind::local,
                      fmt::format("The folder {} cannot be opened, and nothing was changed on the "
                                  "server. Put it back, or forget the pair: quillon sync --forget "
                                  "FOLDER",
                                  pair.folder().string()));
}

}  // namespace quillon::sync
