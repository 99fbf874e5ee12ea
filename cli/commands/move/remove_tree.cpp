#include "cli/commands/move/remove_tree.hpp"

#include <string>
#include <utility>

#include "cli/session/servers.hpp"
#include "client/remote/change.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/locks_within.hpp"

namespace quillon::cli {

Result<void> removeTree(Session& session, const Address& collection) {
    const Result<Remote*> known = session.servers().of(collection);
    if (!known) return known.error();
    Remote& remote = **known;
    const std::string url = collection.url();
    const TreeChange change = [&](Conditions conditions) {
        return quillon::remove(remote, url, std::move(conditions));
    };
    Result<void> removed = remote.run(changeTree(remote, url, unconditional, change));
    if (removed) return removed;
    Error error = remote.run(
        withHolder(remote, {url, collection.parent().url()}, std::move(removed).error()));
    return withLocksWithin(session.leftWork(), url, std::move(error));
}

}  // namespace quillon::cli
