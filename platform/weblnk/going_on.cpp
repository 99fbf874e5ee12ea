#include "platform/weblnk/going_on.hpp"

#include <fmt/format.h>

#include "platform/weblnk/content_digest.hpp"
#include "platform/weblnk/known_member.hpp"

namespace vxhost {

std::string tagToGoOn(const Answer& answer) {
    const EntityTag tag = parseMemberState(answer.headers).tag;
    const bool proves = answer.status == 200 && !tag.text.empty() && !tag.weak;
    return proves && !racyTimeOf(answer.headers) ? tag.sent() : std::string();
}

std::vector<std::string> rangeBehind(uint64_t first, const std::string& tag) {
    return {fmt::format("Range: bytes={}-", first), "If-Range: " + tag};
}

std::optional<ContentRange> restBehind(const Answer& answer, uint64_t first,
                                       const std::string& tag) {
    const EntityTag its = parseEntityTag(answer.headers.first("ETag"));
    const bool isOfIt = !its.text.empty() && !its.weak && its.sent() == tag;
    const auto range = parseContentRange(answer.headers.first("Content-Range"));
    const bool fits = answer.status == 206 && isOfIt && range && range->first == first;
    return fits ? range : std::nullopt;
}

}  // namespace vxhost
