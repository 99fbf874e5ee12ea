#include "client/remote/conditions.hpp"

#include <fmt/format.h>

namespace quillon {

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
    if (locked) {
        lines.push_back(
            fmt::format("If: {}(<{}>{}{})", whose, conditions.lockToken, inIf ? " " : "", tag));
    } else if (inIf) {
        lines.push_back(fmt::format("If: {}({})", whose, tag));
    } else if (tagged) {
        lines.push_back("If-Match: " + speltTag(conditions.tag));
    }
    return lines;
}

}  // namespace quillon
