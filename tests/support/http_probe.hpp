// One request at a time, without the program under test: what does a server say?
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace support {

struct Reply {
    int status = 0;
    std::string body;
};

// Over a connection of its own. Nothing when nobody listens, or no whole answer comes. The headers
// are lines without their ends.
std::optional<Reply> ask(uint16_t port, const std::string& method, const std::string& target,
                         const std::vector<std::string>& headers = {},
                         const std::string& body = {});

// path: percent-encoded, without the first slash.
std::string localUrl(uint16_t port, std::string_view path, const std::string& scheme = "http");

// A port that was free a moment ago. Who hands it to a server must be ready to try another.
uint16_t freePort();

}  // namespace support
