// Adds a round trip to a server on 127.0.0.1 without taking from its throughput.
#pragma once

#include <cstdint>

#include "tests/support/connection_server.hpp"
#include "tests/support/process.hpp"

namespace support {

class DelayProxy {
public:
    // What the server sends arrives later by the round trip, and the first bytes of a connection
    // wait as long for the handshake that a distant server would need.
    DelayProxy(uint16_t serverPort, Duration roundTrip);
    ~DelayProxy() { proxy_.stop(); }

    uint16_t port() const { return proxy_.port(); }

private:
    void relay(const Socket& client) const;

    uint16_t serverPort_;
    Duration roundTrip_;
    ConnectionServer proxy_;
};

}  // namespace support
