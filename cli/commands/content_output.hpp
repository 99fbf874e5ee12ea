// Contents of members that go to the standard output as they come: nothing of them is kept.
#pragma once

#include <string>
#include <vector>

#include "cli/session/servers.hpp"
#include "cli/session/session.hpp"
#include "client/address.hpp"
#include "client/result.hpp"

namespace quillon::cli {

// One member. Its failure tells how much of it went out before. Where the reader has left, that is
// a success: outputAbandoned() tells it.
Result<void> writeContent(Session& session, Servers& servers, const Address& address);

// Several in turn, whose failures are reported. The code is that of the first of them, or
// exitUnread as soon as nobody reads any more.
int writeContents(Session& session, const std::vector<Address>& members);

// What is told of a collection, of an output that takes no more (by errno; nothing where its reader
// has left), and of a content whose end nothing proves.
Error noMember();
Result<void> outputFailure(int error);
std::string unprovenEnd(const std::string& url);

}  // namespace quillon::cli
