// Stands between a client and a server, counts the requests, and lets one of them go wrong.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace support {

class ConnectionServer;

// Connections end in order, as those of a server do that shuts down.
enum class ProxyFault {
    none,
    beforeRequest,  // the connection ends, the server never hears of the request
    inRequest,      // the server gets half of the body; of the header when there is no body
    beforeAnswer,   // the server did its work and answered; the client learns nothing
    inAnswer,       // the client gets half of the body; of the header when there is no body
    stall           // like beforeAnswer, but the connection stays, silent, until the client ends it
};

// Hands on whole messages, and knows no interim answers: a request must not expect one.
class FaultProxy {
public:
    // tls: to the client, with certificate(), and without TLS's own end when a connection ends.
    explicit FaultProxy(uint16_t serverPort, bool tls = false);
    ~FaultProxy();

    std::string url(std::string_view path) const;

    // The nth request from now on (1: the next) over whatever connection.
    void failAt(size_t nth, ProxyFault fault);

    // Since the last failAt(): "METHOD target" of each request.
    std::vector<std::string> requests() const;

private:
    template <class Client>
    class Relay;  // of one connection

    ProxyFault begin(std::string request);

    uint16_t serverPort_;
    bool tls_;
    mutable std::mutex mutex_;
    size_t nth_ = 0;
    ProxyFault fault_ = ProxyFault::none;
    std::vector<std::string> requests_;
    std::unique_ptr<ConnectionServer> proxy_;
};

}  // namespace support
