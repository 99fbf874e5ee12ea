#include "tests/support/socket.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace support {
namespace {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

Socket newSocket() {
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket) throw std::system_error(errno, std::generic_category(), "socket");
    return socket;
}

void sendAtOnce(const Socket& socket) {
    int on = 1;
    setsockopt(socket.fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

Socket& Socket::operator=(Socket&& other) noexcept {
    close();
    fd_ = std::exchange(other.fd_, -1);
    return *this;
}

Socket Socket::connectTo(uint16_t port) {
    Socket socket = newSocket();
    auto address = loopback(port);
    if (connect(socket.fd(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return {};
    sendAtOnce(socket);
    return socket;
}

bool Socket::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

std::string Socket::receive() const {
    std::string bytes(256 * 1024, '\0');
    ssize_t count;
    do count = recv(fd_, bytes.data(), bytes.size(), 0);
    while (count < 0 && errno == EINTR);
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
}

void Socket::endSending() const {
    shutdown(fd_, SHUT_WR);
}

void Socket::shutDown() const {
    shutdown(fd_, SHUT_RDWR);
}

void Socket::resetOnClose() const {
    linger abort{1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
}

void Socket::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

Listener::Listener() : socket_(newSocket()) {
    auto address = loopback(0);
    socklen_t size = sizeof address;
    auto* general = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_.fd(), general, size) != 0 || listen(socket_.fd(), 128) != 0 ||
        getsockname(socket_.fd(), general, &size) != 0)
        throw std::system_error(errno, std::generic_category(), "listen");
    port_ = ntohs(address.sin_port);
}

Socket Listener::accept() const {
    for (;;) {
        Socket socket(accept4(socket_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (socket) sendAtOnce(socket);
        return socket;
    }
}

}  // namespace support
