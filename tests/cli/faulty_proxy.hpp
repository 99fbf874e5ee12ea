// What hands requests on to a private Apache, and spoils one of them.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/apache.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {

// What happens between the program and its server. Connections end in order, as those of a server
// do that shuts down.
enum class Fault {
    none,
    beforeRequest,  // the server never hears of the request
    inRequest,      // the server gets half of the body; of the header when there is no body
    beforeAnswer,   // the server did its work and answered; the program learns nothing
    inAnswer,       // the program gets half of the body; of the header when there is no body
    refused,        // somebody on the way answers 500
    stall           // like beforeAnswer, but the connection stays, silent
};

using Way = std::pair<const char*, Fault>;

inline std::string half(const std::string& message) {
    const size_t header = message.find("\r\n\r\n") + 4;
    return message.substr(0, (header < message.size() ? header + message.size() : header) / 2);
}

// The server's answer to the request, over a connection of their own that ends with it. What names
// the proxy names the server then, and the other way where the answer sends it on.
inline std::string handOn(uint16_t server, const support::Request& request, Fault fault) {
    std::string message = request.method + " " + request.target + " HTTP/1.1\r\n";
    const std::string proxy(request.field("Host")), own = "127.0.0.1:" + std::to_string(server);
    for (const auto& [name, value] : request.fields) {
        std::string line = name + ": " + value + "\r\n";
        const size_t at = name == "Host" ? line.find(proxy) : line.find("//" + proxy + "/");
        if (at != line.npos) line.replace(line.find(proxy, at), proxy.size(), own);
        message += line;
    }
    const std::string end = "Connection: close\r\n";
    message += end + "\r\n" + request.body;
    if (fault == Fault::inRequest) message = half(message);
    std::string answer = support::exchange(server, message, fault == Fault::inRequest);
    if (const size_t at = answer.find(end); at != answer.npos) answer.erase(at, end.size());
    const size_t at = answer.find("//" + own + "/");
    if (at < answer.find("\r\n\r\n")) answer.replace(at + 2, own.size(), proxy);
    if (fault == Fault::none) return answer;
    return fault == Fault::inAnswer ? half(answer) : "";
}

// Which request is to go wrong: the one at which it is 1. Several proxies may count together.
using Countdown = std::shared_ptr<std::atomic<long>>;

inline Countdown countdown(size_t nth) {
    return std::make_shared<std::atomic<long>>(static_cast<long>(nth));
}

inline support::ScriptedServer::Handler faultyHandler(const support::Server& server, Fault way,
                                                      Countdown left) {
    return [&server, way, left = std::move(left)](const support::Request&) {
        const Fault fault = left->fetch_sub(1) == 1 ? way : Fault::none;
        support::Answer answer;
        if (fault == Fault::beforeRequest) return answer.dropped();
        if (fault == Fault::refused) return support::Answer(500);
        answer.madeBy([&server, fault](const support::Request& request) {
            return handOn(server.port(), request, fault);
        });
        if (fault == Fault::stall) return answer.stalledAfter(0);
        return fault == Fault::none ? answer : answer.truncatedAfter(0);
    };
}

}  // namespace quillon::cli
