#include "tests/support/http_probe.hpp"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

namespace support {
namespace {

size_t append(const char* data, size_t, size_t size, void* body) {
    static_cast<std::string*>(body)->append(data, size);
    return size;
}

}  // namespace

std::optional<Reply> ask(uint16_t port, const std::string& method, const std::string& target,
                         const std::vector<std::string>& headers, const std::string& body) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> request(curl_easy_init(),
                                                                      curl_easy_cleanup);
    const auto set = [&request](CURLoption option, auto value) {
        curl_easy_setopt(request.get(), option, value);
    };
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> lines(
        curl_slist_append(nullptr, "Content-Type:"), curl_slist_free_all);  // none
    for (const std::string& header : headers) curl_slist_append(lines.get(), header.c_str());
    Reply reply;
    set(CURLOPT_URL, localUrl(port, "").c_str());
    set(CURLOPT_REQUEST_TARGET, target.c_str());
    set(CURLOPT_PROXY, "");
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
    set(CURLOPT_POSTFIELDS, body.c_str());
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    if (method == "HEAD") set(CURLOPT_NOBODY, 1L);
    set(CURLOPT_HTTPHEADER, lines.get());
    set(CURLOPT_WRITEFUNCTION, append);
    set(CURLOPT_WRITEDATA, &reply.body);
    set(CURLOPT_NOSIGNAL, 1L);
    if (curl_easy_perform(request.get()) != CURLE_OK) return std::nullopt;
    long status = 0;
    curl_easy_getinfo(request.get(), CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return reply;
}

std::string localUrl(uint16_t port, std::string_view path, const std::string& scheme) {
    return scheme + "://127.0.0.1:" + std::to_string(port) + "/" + std::string(path);
}

uint16_t freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};  // port 0: any that is free
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const bool found = bind(socket, generic, size) == 0 && getsockname(socket, generic, &size) == 0;
    const int problem = errno;
    close(socket);
    if (!found) throw std::system_error(problem, std::generic_category(), "no free port");
    return ntohs(address.sin_port);
}

}  // namespace support
