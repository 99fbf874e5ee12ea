#include "platform/http/proxy.hpp"

#include <strings.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "platform/base/ascii.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

constexpr std::string_view schemes[] = {"http",    "https",  "socks",  "socks4",
                                        "socks4a", "socks5", "socks5h"};

bool isKnown(std::string_view scheme) {
    return std::any_of(std::begin(schemes), std::end(schemes), [scheme](std::string_view known) {
        return known.size() == scheme.size() &&
               strncasecmp(known.data(), scheme.data(), scheme.size()) == 0;
    });
}

}  // namespace

std::string_view proxyProblem(std::string_view url) {
    const size_t slashes = url.find("://");
    const bool hasScheme = slashes != url.npos;  // else libcurl takes it for http
    const std::string_view behind = hasScheme ? url.substr(slashes + 3) : url;
    const auto [userinfo, host, port] =
        splitAuthority(behind.substr(0, behind.find_first_of("/?#")));
    const bool isUsable = !host.empty() && (port.empty() || parseNumber<uint16_t>(port));
    if (isUsable && (!hasScheme || isKnown(url.substr(0, slashes)))) return {};
    return unusableProxy;
}

// HTTP_PROXY is none: a server that runs programs sets it to what a client sends.
std::string_view proxyVariable(std::string_view url) {
    const bool isTls = url.starts_with("https:");
    const char* own = isTls ? "https_proxy" : "http_proxy";
    for (const char* name : {own, isTls ? "HTTPS_PROXY" : own, "all_proxy", "ALL_PROXY"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') return name;
    }
    return {};
}

}  // namespace vxhost
