#include "tests/support/fault_proxy.hpp"

#include <sstream>

#include "tests/support/http_probe.hpp"
#include "tests/support/network.hpp"

namespace support {

class FaultProxy::Relay {
public:
    Relay(FaultProxy& proxy, Tcp::socket& client)
        : proxy_(proxy), client_(client), server_(connectTo(proxy.serverPort_)) {}

    void run() {
        try {
            while (passOne()) continue;
        } catch (const boost::system::system_error&) {  // one of the sides has ended
        }
        server_.close();
        if (fault_ != ProxyFault::stall) client_.shutdown(Tcp::socket::shutdown_send);
        // Closed with unread bytes, the connection would now end in a reset, now in order.
        while (!receiveSome(client_).empty()) continue;
    }

private:
    // A request and its answer. False: the connections end.
    bool passOne() {
        MessageParser<true> request;
        http::read(client_, fromClient_, request);
        const std::string method(request.get().method_string());
        fault_ = proxy_.begin(method + " " + std::string(request.get().target()));
        if (fault_ == ProxyFault::beforeRequest) return false;
        if (!pass(server_, request.get(), fault_ == ProxyFault::inRequest)) return false;
        MessageParser<false> answer;
        answer.skip(method == "HEAD");
        http::read(server_, fromServer_, answer);
        if (fault_ == ProxyFault::stall || fault_ == ProxyFault::beforeAnswer) return false;
        return pass(client_, answer.get(), fault_ == ProxyFault::inAnswer) &&
               answer.get().keep_alive();
    }

    // The message, or its first half. False: the connection ends with it.
    template <class Message>
    static bool pass(Tcp::socket& to, Message& message, bool cut) {
        const std::string& body = message.body();
        if (message.chunked()) message.content_length(body.size());
        std::ostringstream header;
        header << message.base();
        const size_t headerSize = header.str().size();
        const size_t half = body.empty() ? headerSize / 2 : headerSize + body.size() / 2;
        sendAll(to, (header.str() + body).substr(0, cut ? half : std::string::npos));
        return !cut;
    }

    FaultProxy& proxy_;
    Tcp::socket& client_;
    Tcp::socket server_;
    boost::beast::flat_buffer fromClient_, fromServer_;
    ProxyFault fault_ = ProxyFault::none;  // of the request in work
};

FaultProxy::FaultProxy(uint16_t serverPort)
    : serverPort_(serverPort),
      proxy_(std::make_unique<ConnectionServer>(
          [this](Tcp::socket& client) { Relay(*this, client).run(); })) {}

FaultProxy::~FaultProxy() = default;

std::string FaultProxy::url(std::string_view path) const {
    return localUrl(proxy_->port(), path);
}

void FaultProxy::failAt(size_t nth, ProxyFault fault) {
    const std::lock_guard lock(mutex_);
    nth_ = nth;
    fault_ = fault;
    requests_.clear();
}

std::vector<std::string> FaultProxy::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

ProxyFault FaultProxy::begin(std::string request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
    return requests_.size() == nth_ ? fault_ : ProxyFault::none;
}

}  // namespace support
