#include "cli/session/servers.hpp"

#include <utility>

namespace quillon::cli {
namespace {

using Found = Result<std::optional<Resource>>;

Task<> lookInto(Remote& remote, std::string url, Found* found) {
    *found = co_await quillon::look(remote, std::move(url));
}

}  // namespace

bool isSameServer(const Address& a, const Address& b) {
    return identityOf(a) == identityOf(b);
}

Servers::Known* Servers::find(const Address& address) {
    const auto known = known_.find(identityOf(address));
    return known == known_.end() ? nullptr : &known->second;
}

Result<Remote*> Servers::of(const Address& address) {
    if (const Known* known = find(address)) return known->remote.get();
    const Found found = look(address.parent());
    if (const Known* known = find(address)) return known->remote.get();
    return found.error();
}

Result<std::unique_ptr<Remote>> Servers::openAnother(const Address& address) {
    const Result<Remote*> first = of(address);
    if (!first) return first.error();
    const Result<Extension> loaded = session_.extension(address);
    if (!loaded) return loaded.error();
    return Remote::open(*loaded, address, find(address)->login);
}

void Servers::keep(const Address& address, std::unique_ptr<Remote>& remote, const Login& login) {
    Known& known = known_[identityOf(address)];
    if (known.remote) replaced_.push_back(std::move(known.remote));
    known = {std::move(remote), login};
}

Found Servers::look(const Address& address, WantedProperties wanted) {
    return with(address, [&](Remote& remote) -> Found {
        return remote.run(quillon::look(remote, address.url(), wanted));
    });
}

std::vector<Found> Servers::look(const std::vector<Address>& addresses) {
    std::vector<Found> found(addresses.size(), Found(interruption()));
    std::map<Remote*, std::vector<size_t>> later;
    for (size_t i = 0; i < addresses.size(); ++i) {
        if (const Known* known = find(addresses[i])) {
            later[known->remote.get()].push_back(i);
        } else {
            found[i] = look(addresses[i]);
        }
    }
    for (const auto& [remote, indices] : later) {
        TaskGroup group(remote->loop());
        for (const size_t i : indices) {
            group.spawn(lookInto(*remote, addresses[i].url(), &found[i]));
        }
        remote->run(finishAll(group));
    }
    return found;
}

}  // namespace quillon::cli
