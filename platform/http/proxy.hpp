// Proxies: which can be used, and which of those the environment names.
#pragma once

#include <string_view>

namespace vxhost {

inline constexpr std::string_view unusableProxy =
    "cannot be read, or is of no kind that can be used, such as http, https or socks5";

// What is wrong with a proxy's URL, behind its subject; empty: nothing.
std::string_view proxyProblem(std::string_view url);

// The variable from which libcurl takes the proxy for a URL; empty: from none.
std::string_view proxyVariable(std::string_view url);

}  // namespace vxhost
