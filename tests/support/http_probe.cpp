#include "tests/support/http_probe.hpp"

#include "tests/support/socket.hpp"

namespace support {

std::optional<Reply> ask(uint16_t port, const std::string& method, const std::string& target,
                         const std::string& header, const std::string& body) {
    Socket socket = Socket::connectTo(port);
    if (!socket) return std::nullopt;
    socket.send(method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                "\r\nConnection: close\r\n" +
                (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") +
                header + "\r\n" + body);
    std::string answer;
    for (std::string piece = socket.receive(); !piece.empty(); piece = socket.receive())
        answer += piece;
    if (!answer.starts_with("HTTP/1.") || answer.size() < 12) return std::nullopt;
    size_t end = answer.find("\r\n\r\n");
    if (end == std::string::npos) return std::nullopt;
    return Reply{std::stoi(answer.substr(9, 3)), answer.substr(0, end + 2), answer.substr(end + 4)};
}

}  // namespace support
