#include "client/remote/confirm.hpp"

#include <utility>

#include "client/remote/listing_answer.hpp"
#include "client/remote/resource.hpp"

namespace quillon {
namespace {

Error nothingDone() {
    return localError(Kind::network,
                      "A page came for an answer, and nothing was done. Does something on the way "
                      "answer in the server's place, such as the login page of a network?");
}

}  // namespace

bool isDoubtful(const vxhost::Answer& answer) {
    return answer.status == 200 && !answer.text.empty() && !mayBeMultistatus(answer);
}

Task<Result<void>> confirm(Remote& remote, std::string url, bool isThere) {
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(url));
    if (!found) co_return found.error();
    if (found->has_value() != isThere) co_return nothingDone();
    co_return Result<void>();
}

Task<Result<void>> confirmStored(Remote& remote, std::string url, std::optional<uint64_t> size,
                                 vxhost::EntityTag before) {
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(url));
    if (!found) co_return found.error();
    if (!*found) co_return nothingDone();
    const Resource& now = **found;
    const bool isOfOtherSize = size && now.size && *now.size != *size;
    const bool isAsBefore = !before.text.empty() && now.tag.text == before.text;
    if (isOfOtherSize || isAsBefore) co_return nothingDone();
    co_return Result<void>();
}

}  // namespace quillon
