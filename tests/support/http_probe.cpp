#include "tests/support/http_probe.hpp"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace support {
namespace {

struct LoopbackSocket {
    ~LoopbackSocket() { close(number); }
    auto* generic() { return reinterpret_cast<sockaddr*>(&address); }

    const int number = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
};

}  // namespace

std::string exchange(uint16_t port, std::string_view bytes, bool breaksOff) {
    LoopbackSocket server;
    server.address.sin_port = htons(port);
    if (connect(server.number, server.generic(), server.size) != 0) return "";
    send(server.number, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (breaksOff) shutdown(server.number, SHUT_WR);
    std::string answer;
    char piece[65536];
    for (ssize_t count; (count = read(server.number, piece, sizeof piece)) > 0;)
        answer.append(piece, static_cast<size_t>(count));
    return answer;
}

// HTTP/1.0, so that the answer has no chunks, and the connection ends with it.
std::string ask(uint16_t port, std::string_view method, std::string_view target,
                std::string_view fields, std::string_view body) {
    std::string request(method);
    request.append(" ").append(target).append(" HTTP/1.0\r\n").append(fields);
    request.append("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n").append(body);
    return exchange(port, request);
}

std::string localUrl(uint16_t port, std::string_view path, const std::string& scheme) {
    return scheme + "://127.0.0.1:" + std::to_string(port) + "/" + std::string(path);
}

uint16_t freePort() {
    LoopbackSocket free;  // port 0: any that is free
    if (bind(free.number, free.generic(), free.size) != 0 ||
        getsockname(free.number, free.generic(), &free.size) != 0)
        throw std::system_error(errno, std::generic_category(), "no free port");
    return ntohs(free.address.sin_port);
}

}  // namespace support
