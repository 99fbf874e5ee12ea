// Where cp and mv put things: into a collection that is there, else under the name that is given.
#pragma once

#include <cstdint>
#include <optional>

#include "client/address.hpp"
#include "client/result.hpp"

namespace quillon::cli {

struct Source {
    Address address;
    bool isCollection = false;
    std::optional<uint64_t> size{};  // in bytes
};

struct Place {
    Address address;
    enum class There { nothing, member, collection } there = There::nothing;
};

// Whether it is the collection, or somewhere below.
bool isWithin(const Address& collection, const Address& inner);

// The source's new address, a collection's with a final slash. Fails with Kind::usage for a place
// that makes no sense: the source itself, or one inside it.
Result<Address> placeFor(const Source& source, const Place& place);

}  // namespace quillon::cli
