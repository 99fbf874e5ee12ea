#include "cli/commands/move/placing.hpp"

#include <fmt/format.h>

#include "platform/text/url.hpp"

namespace quillon::cli {

bool isWithin(const Address& collection, const Address& inner) {
    for (Address at = inner.asMember();;) {
        if (vxhost::sameResource(at.url(), collection.url())) return true;
        Address above = at.parent().asMember();
        if (above.url() == at.url()) return false;
        at = std::move(above);
    }
}

Result<Address> placeFor(const Source& source, const Place& place) {
    const Address from = source.address.asMember();
    if (!from.namesMember()) {
        return localError(Kind::usage, "This is the server's root, which has no name.");
    }
    const bool isInto = place.there == Place::There::collection;
    if (place.there == Place::There::member &&
        (source.isCollection || !place.address.namesMember())) {
        return localError(Kind::usage, fmt::format("{} is a file, not a collection.",
                                                   place.address.asMember().url()));
    }
    if (place.there == Place::There::nothing && !source.isCollection &&
        !place.address.namesMember()) {
        return localError(Kind::notFound, fmt::format("The server has no collection {}. mkcol -p "
                                                      "creates it.",
                                                      place.address.url()));
    }
    Address to = isInto ? place.address.asCollection().memberBySegment(from.segment())
                        : place.address.asMember();
    if (vxhost::sameResource(from.url(), to.url())) {
        return localError(Kind::usage, "Source and destination are the same.");
    }
    if (!source.isCollection) return to;
    if (isWithin(from.asCollection(), to)) {
        return localError(Kind::usage, "A collection cannot go into itself.");
    }
    return to.asCollection();
}

}  // namespace quillon::cli
