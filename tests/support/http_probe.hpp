// One request at a time, without the program under test: what does a server say?
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace support {

// What a server sends until it ends the connection, to these bytes and no more. "": nothing came.
// breaksOff: it is told that no more come, which some servers take for somebody who has gone.
std::string exchange(uint16_t port, std::string_view bytes, bool breaksOff = false);

// The whole answer to a request. Each of the fields has its line end.
std::string ask(uint16_t port, std::string_view method, std::string_view target,
                std::string_view fields = {}, std::string_view body = {});

// path: percent-encoded, without the first slash.
std::string localUrl(uint16_t port, std::string_view path, const std::string& scheme = "http");

// A port that was free a moment ago. Who hands it to a server must be ready to try another.
uint16_t freePort();

}  // namespace support
