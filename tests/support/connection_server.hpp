// Blocking TCP on 127.0.0.1. Asio takes seconds to compile: this is for a server's own source, and
// not for its header.
#pragma once

#include <sys/socket.h>

#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

namespace support {

using Tcp = boost::asio::ip::tcp;

// Accepts connections on a free port and serves each on a thread of its own.
class ConnectionServer {
public:
    // The client is closed after it, and after what it throws.
    using Serve = std::function<void(Tcp::socket& client)>;

    explicit ConnectionServer(Serve serve)
        : serve_(std::move(serve)), accepting_([this] { acceptAll(); }) {}
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    ~ConnectionServer() {
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);  // wakes the thread that waits in it
        accepting_.join();
        const std::lock_guard lock(mutex_);
        for (auto& each : connections_) ::shutdown(each.socket.native_handle(), SHUT_RDWR);
    }

    uint16_t port() const { return acceptor_.local_endpoint().port(); }

private:
    struct Connection {
        Tcp::socket socket;
        std::jthread thread{};
    };

    void acceptAll() {
        boost::system::error_code stopped;
        for (;;) {
            Tcp::socket socket = acceptor_.accept(stopped);
            if (stopped) return;
            socket.set_option(Tcp::no_delay(true));
            const std::lock_guard lock(mutex_);
            Connection& connection = connections_.emplace_back(Connection{std::move(socket)});
            connection.thread =
                std::jthread([this, &client = connection.socket] { serve(client); });
        }
    }

    void serve(Tcp::socket& client) {
        boost::system::error_code ignored;
        try {
            serve_(client);
        } catch (const boost::system::system_error&) {  // the peer went, or spoke no HTTP
        }
        const std::lock_guard lock(mutex_);
        client.close(ignored);
    }

    Serve serve_;
    boost::asio::io_context io_;
    Tcp::acceptor acceptor_{io_, {boost::asio::ip::address_v4::loopback(), 0}};
    std::mutex mutex_;  // over the list and the life of its sockets
    std::list<Connection> connections_;
    std::thread accepting_;
};

}  // namespace support
