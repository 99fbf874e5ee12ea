// Blocking TCP on 127.0.0.1.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace support {

class Socket {
public:
    Socket() = default;
    explicit Socket(int fd) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Socket& operator=(Socket&& other) noexcept;
    ~Socket() { close(); }

    static Socket connectTo(uint16_t port);  // an empty socket: nobody listens

    explicit operator bool() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    bool send(std::string_view bytes) const;  // false: the peer is gone
    std::string receive() const;              // empty: the end, or an error
    void endSending() const;
    void shutDown() const;      // both ways; wakes a thread that waits in it
    void resetOnClose() const;  // the peer then sees a reset, not an orderly end
    void close();

private:
    int fd_ = -1;
};

// Listens on a free port.
class Listener {
public:
    Listener();
    uint16_t port() const { return port_; }
    Socket accept() const;  // an empty socket: stopped
    void stop() const { socket_.shutDown(); }

private:
    Socket socket_;
    uint16_t port_ = 0;
};

// A port that was free a moment ago. Who hands it to a server must be ready to try another.
inline uint16_t freePort() {
    return Listener().port();
}

}  // namespace support
