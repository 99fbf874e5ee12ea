#include "client/remote/confirm.hpp"

#include <utility>

#include "client/remote/resource.hpp"

namespace quillon {

bool isPage(const vxhost::Answer& answer) {
    return answer.status == 200 && answer.headers.first("Content-Type").starts_with("text/html");
}

Task<Result<void>> confirm(Remote& remote, std::string url, bool isThere) {
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(url));
    if (!found) co_return found.error();
    if (found->has_value() == isThere) co_return Result<void>();
    co_return localError(Kind::network,
                         "A page came for an answer, and nothing was done. Does something on the "
                         "way answer in the server's place, such as the login page of a network?");
}

}  // namespace quillon
