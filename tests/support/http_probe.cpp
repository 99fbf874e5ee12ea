#include "tests/support/http_probe.hpp"

#include "tests/support/network.hpp"

namespace support {

std::optional<Reply> ask(uint16_t port, const std::string& method, const std::string& target,
                         const std::string& header, const std::string& body) {
    try {
        Tcp::socket server = connectTo(port);
        sendAll(server, method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + header +
                            "Connection: close\r\nContent-Length: " + std::to_string(body.size()) +
                            "\r\n\r\n" + body);
        boost::beast::flat_buffer buffer;
        MessageParser<false> answer;
        answer.skip(method == "HEAD");
        http::read(server, buffer, answer);
        return Reply{static_cast<int>(answer.get().result_int()), answer.get().body()};
    } catch (const boost::system::system_error&) {
        return std::nullopt;
    }
}

std::string localUrl(uint16_t port, std::string_view path, const std::string& scheme) {
    return scheme + "://127.0.0.1:" + std::to_string(port) + "/" + std::string(path);
}

uint16_t freePort() {
    return Tcp::acceptor(io, onLoopback(0)).local_endpoint().port();
}

}  // namespace support
