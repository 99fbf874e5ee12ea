#include "platform/http/entity_tag.hpp"

#include <algorithm>

#include "platform/base/ascii.hpp"

namespace vxhost {

std::string EntityTag::sent() const {
    return (weak ? "W/\"" : "\"") + text + '"';
}

EntityTag parseEntityTag(std::string_view value) {
    constexpr size_t longest = 1000;
    value = trim(value);
    const bool weak = value.starts_with("W/");
    if (weak) value.remove_prefix(2);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        value = value.substr(1, value.size() - 2);
    }
    const bool clean = std::all_of(value.begin(), value.end(), [](unsigned char c) {
        return c > ' ' && c != '"' && c != 0x7F;
    });
    // mod_deflate and mod_brotli mark the tags of what they coded so.
    const bool coded = value.ends_with("-gzip") || value.ends_with("-br");
    if (!clean || coded || value.empty() || value.size() > longest) return {};
    return {std::string(value), weak};
}

}  // namespace vxhost
