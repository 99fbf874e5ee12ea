// Adds a round trip to a server on 127.0.0.1 without taking from its throughput.
#pragma once

#include <cstdint>
#include <memory>

#include "tests/support/process.hpp"

namespace support {

class ConnectionServer;

class DelayProxy {
public:
    // What the server sends arrives later by the round trip, and the first bytes of a connection
    // wait as long for the handshake that a distant server would need.
    DelayProxy(uint16_t serverPort, Duration roundTrip);
    ~DelayProxy();

    uint16_t port() const;

private:
    std::unique_ptr<ConnectionServer> proxy_;
};

}  // namespace support
