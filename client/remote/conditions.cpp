#include "client/remote/conditions.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr size_t mostLineBytes = 8000;  // Apache takes 8190, and others 8 KiB

}  // namespace

std::string speltTag(const vxhost::EntityTag& tag) {
    return tag.text.empty() ? std::string() : tag.sent();
}

std::vector<std::string> headerLines(const Conditions& conditions, const std::string& resource) {
    std::vector<std::string> lines;
    if (conditions.onlyNew) lines.emplace_back("If-None-Match: *");
    const bool tagged = !conditions.tag.text.empty();
    const bool locked = !conditions.lockToken.empty();
    const bool inIf = tagged && (conditions.tagInIf || locked);
    const std::string tag = inIf ? fmt::format("[{}]", speltTag(conditions.tag)) : std::string();
    const std::string whose = resource.empty() ? "" : fmt::format("<{}> ", resource);
    std::string list;  // of the If header
    if (locked) {
        list = fmt::format("{}(<{}>{}{})", whose, conditions.lockToken, inIf ? " " : "", tag);
    } else if (inIf) {
        list = fmt::format("{}({})", whose, tag);
    } else if (tagged) {
        lines.push_back("If-Match: " + speltTag(conditions.tag));
    }
    for (const OtherLock& other : conditions.otherLocks) {
        list += fmt::format("{}<{}> (<{}>)", list.empty() ? "" : " ",
                            vxhost::encodeForRequest(other.url), other.token);
    }
    if (!list.empty()) lines.push_back("If: " + list);
    return lines;
}

bool fitIntoHeader(const Conditions& conditions, const std::string& resource) {
    return std::ranges::all_of(headerLines(conditions, resource), [](const std::string& line) {
        return line.size() <= mostLineBytes;
    });
}

}  // namespace quillon
