#include "tests/support/connection_server.hpp"

#include <utility>

namespace support {

ConnectionServer::ConnectionServer(Serve serve)
    : serve_(std::move(serve)), acceptor_([this] { acceptAll(); }) {}

void ConnectionServer::acceptAll() {
    while (Socket socket = listener_.accept()) {
        ++accepted_;
        std::lock_guard lock(mutex_);
        Connection& connection = connections_.emplace_back();
        connection.socket = std::move(socket);
        connection.thread = std::thread([this, &connection] {
            serve_(connection.socket);
            std::lock_guard closing(mutex_);
            connection.socket.close();
        });
    }
}

void ConnectionServer::stop() {
    if (!acceptor_.joinable()) return;
    listener_.stop();
    acceptor_.join();
    {
        std::lock_guard lock(mutex_);
        for (const Connection& connection : connections_)
            if (connection.socket) connection.socket.shutDown();
    }
    for (Connection& connection : connections_) connection.thread.join();
}

}  // namespace support
