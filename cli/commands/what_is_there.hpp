// Why a collection cannot be opened or made: what stands in its place. Asked after a failure alone.
#pragma once

#include <initializer_list>

#include "cli/session/session.hpp"

namespace quillon::cli {

// The outcome of bare requests, whose answer with one of these statuses means that a collection is
// not there.
Result<void> asNotFound(Result<void> outcome, std::initializer_list<int> statuses);

// A collection that could not be opened: which one it is, or that it is a file. Other errors come
// back as they are.
Error explainNotOpened(Session& session, const Address& collection, Error error);
Error explainNotOpened(const Extension& extension, const Login& login, const Address& collection,
                       Error error);

// The same of the collection that a member was to be stored in.
Error explainNoPlace(Session& session, const Address& member, Error error);

// A collection that the server refused to make: what is there already, or a file above it.
Error explainNotMade(Session& session, const Address& collection, Error error);

}  // namespace quillon::cli
