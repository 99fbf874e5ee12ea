#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/properties.hpp"

namespace vxhost {

void head(CurlClient& client, int32_t& status) {
    refreshLocks(*client.target);
    Request request = requestFor(*client.target, "HEAD");
    request.repeatable = request.follows301 = true;
    const Answer answer = exchange(*client.target, std::move(request));
    const int32_t answered = answer.status;
    client.target->toldSize =
        isSuccess(answered) ? parseFraming(answer.headers).length : std::nullopt;
    const bool doubtful = answered == 403 || answered == 404 || answered == 405;
    const bool asksOn = doubtful && (client.option & vx::CLIENT_HEAD_BY_PROPFIND);
    status = asksOn ? statusByProperties(*client.target, answered) : answered;
    // A member that is gone is written anew; no entity tag would fit it.
    if (status == 404) client.target->etag.clear();
}

}  // namespace vxhost
