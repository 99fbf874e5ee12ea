#include "tests/support/fault_proxy.hpp"

#include <boost/asio/ssl.hpp>
#include <sstream>

#include "tests/support/certificate.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/network.hpp"

namespace support {

namespace ssl = boost::asio::ssl;

template <class Client>  // a socket, or TLS over one
class FaultProxy::Relay {
public:
    Relay(FaultProxy& proxy, Client& client)
        : proxy_(proxy), client_(client), server_(connectTo(proxy.serverPort_)) {}

    void run() {
        try {
            while (passOne()) continue;
        } catch (const boost::system::system_error&) {  // one of the sides has ended
        }
        server_.close();
        Tcp::socket& client = boost::beast::get_lowest_layer(client_);
        if (fault_ != ProxyFault::stall) client.shutdown(Tcp::socket::shutdown_send);
        // Closed with unread bytes, the connection would now end in a reset, now in order.
        while (!receiveSome(client).empty()) continue;
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
    template <class Stream, class Message>
    static bool pass(Stream& to, Message& message, bool cut) {
        const std::string& body = message.body();
        if (message.chunked()) message.content_length(body.size());
        std::ostringstream header;
        header << message.base();
        const size_t headerSize = header.str().size();
        const size_t half = body.empty() ? headerSize / 2 : headerSize + body.size() / 2;
        const std::string whole = header.str() + body;
        boost::asio::write(to, boost::asio::buffer(whole, cut ? half : whole.size()));
        return !cut;
    }

    FaultProxy& proxy_;
    Client& client_;
    Tcp::socket server_;
    boost::beast::flat_buffer fromClient_, fromServer_;
    ProxyFault fault_ = ProxyFault::none;  // of the request in work
};

FaultProxy::FaultProxy(uint16_t serverPort, bool tls)
    : serverPort_(serverPort),
      tls_(tls),
      proxy_(std::make_unique<ConnectionServer>([this](Tcp::socket& client) {
          if (!tls_) return Relay(*this, client).run();
          ssl::context context(ssl::context::tls_server);
          context.use_certificate_chain_file(certificate().file);
          context.use_private_key_file(certificate().key, ssl::context::pem);
          ssl::stream<Tcp::socket&> stream(client, context);
          stream.handshake(ssl::stream_base::server);
          Relay(*this, stream).run();
      })) {}

FaultProxy::~FaultProxy() = default;

std::string FaultProxy::url(std::string_view path) const {
    return localUrl(proxy_->port(), path, tls_ ? "https" : "http");
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
