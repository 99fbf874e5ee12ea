#include "cli/session/this_machine.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace quillon::cli {

bool isThisMachine(const std::string& host) {
    in_addr four{};
    in6_addr six{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1) return ntohl(four.s_addr) >> 24 == 127;
    if (inet_pton(AF_INET6, host.c_str(), &six) == 1) return IN6_IS_ADDR_LOOPBACK(&six);
    return host == "localhost";
}

}  // namespace quillon::cli
