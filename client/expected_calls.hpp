// The requests that the extension makes for a purpose, in its order of calls.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/purpose.hpp"
#include "platform/weblnk/expecting.hpp"

namespace quillon {

// To open the collection, and what follows. segment: of the member.
std::vector<vxhost::ExpectedCall> callsToOpen(const std::string& collection,
                                              std::string_view segment, Purpose purpose);
std::vector<vxhost::ExpectedCall> callsForMember(const std::string& url, Purpose purpose);
std::vector<vxhost::ExpectedCall> callsToList(const std::string& collection);

// What follows a lock: the member as it is under it, and its content for Purpose::fetch.
std::vector<vxhost::ExpectedCall> callsAfterLock(const std::string& url, bool exists,
                                                 Purpose purpose);

}  // namespace quillon
