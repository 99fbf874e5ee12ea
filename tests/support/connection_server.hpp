// Accepts connections on a free port and serves each on a thread of its own.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "tests/support/socket.hpp"

namespace support {

class ConnectionServer {
public:
    using Serve = std::function<void(const Socket& client)>;  // which is closed after it

    explicit ConnectionServer(Serve serve);
    ~ConnectionServer() { stop(); }
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    uint16_t port() const { return listener_.port(); }
    int connections() const { return accepted_; }

    // Shuts the connections down and waits for their threads. The owner calls it before anything
    // goes away that its function uses.
    void stop();

private:
    struct Connection {
        Socket socket;
        std::thread thread;
    };
    void acceptAll();

    Serve serve_;
    Listener listener_;
    std::mutex mutex_;  // over the list and the life of its sockets
    std::list<Connection> connections_;
    std::atomic<int> accepted_ = 0;
    std::thread acceptor_;
};

}  // namespace support
