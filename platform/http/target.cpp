#include "platform/http/target.hpp"

#include "platform/text/url.hpp"

namespace vxhost {

std::string withoutCredentials(const std::string& url) {
    const Reference parts = splitReference(url);
    if (!parts.authority) return url;
    const auto userinfo = splitAuthority(*parts.authority).userinfo;
    if (!userinfo) return url;
    const size_t begin = parts.scheme->size() + std::string_view("://").size();
    return url.substr(0, begin) + url.substr(begin + userinfo->size() + 1);
}

std::string requestUrl(const std::string& spelt) {
    const std::string url = encodeForRequest(spelt);
    const std::string from = origin(url);
    if (!from.starts_with("http://") && !from.starts_with("https://")) return {};
    return withoutCredentials(url);
}

}  // namespace vxhost
