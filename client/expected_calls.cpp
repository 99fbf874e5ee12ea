#include "client/expected_calls.hpp"

namespace quillon {

using vxhost::ExpectedCall;
using vxhost::SafeCall;

std::vector<ExpectedCall> callsToOpen(const std::string& collection, std::string_view segment,
                                      Purpose purpose) {
    if (purpose == Purpose::any) return {};
    std::vector<ExpectedCall> calls =
        purpose == Purpose::list ? callsToList(collection)
                                 : callsForMember(collection + std::string(segment), purpose);
    calls.insert(calls.begin(), {SafeCall::head, collection});
    return calls;
}

std::vector<ExpectedCall> callsForMember(const std::string& url, Purpose purpose) {
    std::vector<ExpectedCall> calls{{SafeCall::options, url}, {SafeCall::head, url}};
    if (purpose == Purpose::change) calls.push_back({SafeCall::kind, url});  // it may be new
    const bool inspects = purpose == Purpose::inspect;
    if (purpose == Purpose::look || inspects) calls.push_back({SafeCall::properties, url});
    if (inspects) calls.push_back({SafeCall::locks, url});
    if (purpose == Purpose::fetch) calls.push_back({SafeCall::get, url});
    return calls;
}

std::vector<ExpectedCall> callsToList(const std::string& collection) {
    return {{SafeCall::head, collection},
            {SafeCall::options, collection},
            {SafeCall::listing, collection}};
}

std::vector<ExpectedCall> callsAfterLock(const std::string& url, bool exists, Purpose purpose) {
    std::vector<ExpectedCall> calls = callsForMember(url, Purpose::look);
    if (!exists) calls.push_back({SafeCall::kind, url});
    if (purpose == Purpose::fetch) calls.push_back({SafeCall::get, url});
    return calls;
}

}  // namespace quillon
