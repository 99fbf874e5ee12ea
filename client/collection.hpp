// A collection on a server, open. Collections, and the listings and members made from them, are
// used by one thread at a time; each keeps alive what it was made from.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "client/address.hpp"
#include "client/extension.hpp"
#include "client/listing.hpp"
#include "client/member.hpp"
#include "client/purpose.hpp"

namespace quillon {

struct Login {
    std::string user;  // empty: none, and then no password
    Secret password;
    std::string proxy;  // its URL; empty: none
};

struct OpenOptions {
    bool cache = true;  // without, listings alone: no members
    std::filesystem::path
        cacheParent{};               // where the cache directory is made; empty: the usual place
    Purpose purpose = Purpose::any;  // of the collection, or of the address's member
};

class Collection {
public:
    // Opens the address's collection.
    static Result<Collection> open(const Extension& extension, const Address& address,
                                   const Login& login, const OpenOptions& options = {});

    // Sub-collections included.
    Result<Listing> list();

    // A member by its encoded segment, whether it exists or not (then it can be stored or locked
    // into being). An empty segment is the collection itself, for its properties.
    Result<Member> member(std::string_view segment, Purpose purpose = Purpose::change);

    const std::string& url() const;  // ends in "/"

    struct State;

private:
    explicit Collection(std::shared_ptr<State> state) : state_(std::move(state)) {}
    std::shared_ptr<State> state_;
};

// Makes a collection; its parent must exist and nothing may be there.
Result<void> createCollection(const Extension& extension, const Address& address,
                              const Login& login);

// Removes a collection; one with members only when told so.
Result<void> removeCollection(const Extension& extension, const Address& address,
                              const Login& login, bool withMembers);

}  // namespace quillon
