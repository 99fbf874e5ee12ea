// Blocking TCP on 127.0.0.1 and HTTP messages. Asio and Beast take seconds to compile: this is for
// the servers' own sources, which are compiled as one, and not for their headers.
#pragma once

#include <sys/socket.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace support {

namespace http = boost::beast::http;
using Tcp = boost::asio::ip::tcp;

inline boost::asio::io_context io;

inline Tcp::endpoint onLoopback(uint16_t port) {
    return {boost::asio::ip::address_v4::loopback(), port};
}

inline Tcp::socket connectTo(uint16_t port) {  // throws when nobody listens
    Tcp::socket socket(io);
    socket.connect(onLoopback(port));
    socket.set_option(Tcp::no_delay(true));
    return socket;
}

inline void sendAll(Tcp::socket& to, std::string_view bytes) {  // throws when the peer is gone
    boost::asio::write(to, boost::asio::buffer(bytes));
}

// What is there, or comes next; empty at the end and after an error.
inline std::string receiveSome(Tcp::socket& from) {
    std::string bytes(256 * 1024, '\0');
    boost::system::error_code error;
    bytes.resize(from.read_some(boost::asio::buffer(bytes), error));
    return bytes;
}

// Both ways; wakes a thread that waits in it.
template <class Socket>
void shutDown(Socket& socket) {
    ::shutdown(socket.native_handle(), SHUT_RDWR);
}

// Of a request or an answer, whatever its size.
template <bool isRequest>
struct MessageParser : http::parser<isRequest, http::string_body> {
    MessageParser() {
        this->header_limit(1 << 20);
        this->body_limit(std::numeric_limits<uint64_t>::max());
    }
};

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
        shutDown(acceptor_);
        accepting_.join();
        const std::lock_guard lock(mutex_);
        for (auto& connection : connections_) shutDown(connection.socket);
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
    Tcp::acceptor acceptor_{io, onLoopback(0)};
    std::mutex mutex_;  // over the list and the life of its sockets
    std::list<Connection> connections_;
    std::thread accepting_;
};

}  // namespace support
