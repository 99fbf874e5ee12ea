// One request at a time, without the program under test: what does a server say?
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace support {

struct Reply {
    int status = 0;
    std::string header;  // as received, with the status line
    std::string body;    // as received: chunks are not joined
};

// Over a connection of its own. Nothing when nobody listens, or the connection ends without a
// status line. header: more header lines, each ended by CR LF.
std::optional<Reply> ask(uint16_t port, const std::string& method, const std::string& target,
                         const std::string& header = {}, const std::string& body = {});

}  // namespace support
