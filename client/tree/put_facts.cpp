#include "client/tree/put_facts.hpp"

#include "platform/http/headers.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {

Task<Result<PutFacts>> PutFactsOnce::ask() {
    if (facts_) co_return *facts_;
    vxhost::Request request = vxhost::optionsRequest(url_);
    const Result<vxhost::Answer> answer = co_await remote_.send(std::move(request));
    if (!answer) co_return answer.error();
    PutFacts facts;
    if (vxhost::parseDavClasses(answer->headers.joined("DAV")).two) facts.guard = Guard::lock;
    facts_ = facts;
    co_return facts;
}

}  // namespace quillon
