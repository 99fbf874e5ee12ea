// DELETE, MOVE, MKCOL.
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/http/exchange.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

Answer change(Target& target, Request request, int32_t& status) {
    const bool partly = request.method == "DELETE" && request.url.ends_with('/');
    Answer answer = exchange(target, std::move(request));
    // A 207 for a collection's DELETE is the caller's to judge: some members are gone.
    status = partly ? answer.status : statusOfChange(answer);
    if (status == 423) tellHolder(target, target.journal, answer);
    return answer;
}

// A lock that the client holds itself must not stand in its own way (RFC 4918, 9.6 and 9.9.5), and
// is none of the destination's.
void submitLocks(const Target& target, Request& request) {
    if (!target.locks.empty()) request.headers.push_back(target.locks.back()->taggedCondition());
}

}  // namespace

void remove(CurlClient& client, int32_t& status) {
    Target& target = *client.target;
    refreshLocks(target);
    Request request = changeRequest(target, "DELETE", removingMember);
    if (request.url.ends_with('/')) request.headers.push_back("Depth: infinity");
    submitLocks(target, request);
    change(target, std::move(request), status);
}

void move(CurlClient& client, std::u32string_view destination, int32_t& status) {
    Target& target = *client.target;
    refreshLocks(target);
    Request request = changeRequest(target, "MOVE");
    const std::string spelt = toUtf8(destination), url = requestUrl(spelt);
    requireUsable(url, spelt);
    request.headers = {"Destination: " + url, "Overwrite: F"};
    if (request.url.ends_with('/')) request.headers.push_back("Depth: infinity");
    submitLocks(target, request);
    const Answer answer = change(target, std::move(request), status);
    // Apache, when a collection has the new name.
    if (isRedirect(answer.status) && !answer.headers.has("Location")) status = 412;
}

void makeCollection(CurlClient& client, int32_t& status) {
    Target& target = *client.target;
    Request request = changeRequest(target, "MKCOL");
    if (!request.url.ends_with('/')) request.url += '/';
    change(target, std::move(request), status);
}

}  // namespace vxhost
