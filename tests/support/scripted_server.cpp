#include "tests/support/scripted_server.hpp"

#include <algorithm>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <cstdio>
#include <optional>

#include "tests/support/certificate.hpp"
#include "tests/support/connection_server.hpp"
#include "tests/support/http_probe.hpp"

namespace support {

namespace http = boost::beast::http;
namespace ssl = boost::asio::ssl;

namespace {

bool fits(const std::string& pattern, const std::string& target) {
    if (!pattern.ends_with('*')) return pattern == target;
    return target.starts_with(std::string_view(pattern).substr(0, pattern.size() - 1));
}

}  // namespace

// What it throws, and every false, ends the connection.
template <class Stream>
class ScriptedServer::Conversation {
public:
    Conversation(ScriptedServer& server, Stream& client) : server_(server), client_(client) {}

    bool exchange() {
        readHead();
        const Answer answer = server_.answerTo(request_);
        if (answer.beforeBody_) return deliver(answer) && readRest();
        readBody();
        return deliver(answer);
    }

private:
    void readHead() {
        parser_.emplace();
        parser_->header_limit(1 << 20);
        parser_->body_limit(UINT64_MAX);
        http::read_header(client_, buffer_, *parser_);
        const auto& head = parser_->get();
        request_ = std::make_shared<Request>();
        request_->method = std::string(head.method_string());
        request_->target = std::string(head.target());
        for (const auto& field : head) {
            std::string& value = request_->fields[std::string(field.name_string())];
            value += (value.empty() ? "" : ", ") + std::string(field.value());
        }
    }

    void readBody() {
        const bool waits = !request_->field("Expect").empty() && buffer_.size() == 0;
        if (waits && request_->answered == 0) send("HTTP/1.1 100 Continue\r\n\r\n");
        http::read(client_, buffer_, *parser_);
        const std::lock_guard lock(server_.mutex_);
        request_->body = std::move(parser_->get().body());
    }

    // After an early answer. Who expected a 100 need not send the body, so that nobody could tell
    // what the next bytes are: that connection ends.
    bool readRest() {
        const bool expected = !request_->field("Expect").empty();
        if (expected) boost::beast::get_lowest_layer(client_).shutdown(Tcp::socket::shutdown_send);
        readBody();
        return !expected;
    }

    bool deliver(const Answer& answer) {
        if (answer.instead_) {
            send(answer.instead_(*request_));
            if (answer.stalls_) server_.pauseFor(patience);
            return answer.sent_ == Answer::all;
        }
        {
            const std::lock_guard lock(server_.mutex_);
            request_->answered = answer.status_;
        }
        send(header(answer));
        if (request_->method != "HEAD" && answer.status_ != 204) sendBody(answer);
        if (answer.stalls_) server_.pauseFor(patience);
        return answer.sent_ == Answer::all;
    }

    void send(std::string_view bytes) { boost::asio::write(client_, boost::asio::buffer(bytes)); }

    static std::string header(const Answer& answer) {
        const auto status = http::int_to_status(static_cast<unsigned>(answer.status_));
        std::string text = "HTTP/1.1 " + std::to_string(answer.status_) + " " +
                           std::string(http::obsolete_reason(status)) + "\r\n";
        for (const auto& [name, value] : answer.fields_) text += name + ": " + value + "\r\n";
        if (answer.status_ == 204 || answer.endless_) return text + "\r\n";
        return text + "Content-Length: " + std::to_string(answer.body_.size()) + "\r\n\r\n";
    }

    void sendBody(const Answer& answer) {
        const std::string_view body = std::string_view(answer.body_).substr(0, answer.sent_);
        do {
            for (size_t at = 0; at < body.size(); at += std::min(answer.piece_, body.size())) {
                send(body.substr(at, answer.piece_));
                server_.pauseFor(answer.pause_);
            }
        } while (answer.endless_);
    }

    ScriptedServer& server_;
    Stream& client_;
    boost::beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    std::shared_ptr<Request> request_;
};

ScriptedServer::ScriptedServer(bool tls)
    : tls_(tls), server_(std::make_unique<ConnectionServer>([this](Tcp::socket& client) {
          if (!tls_) return talk(client);
          ssl::context context(ssl::context::tls_server);
          context.use_certificate_chain_file(certificate().file);
          context.use_private_key_file(certificate().key, ssl::context::pem);
          ssl::stream<Tcp::socket&> stream(client, context);
          stream.handshake(ssl::stream_base::server);
          talk(stream);
      })) {}

template <class Stream>
void ScriptedServer::talk(Stream& client) {
    {
        std::unique_lock lock(mutex_);
        ++connections_;
        ended_.wait(lock, [this] { return ending_ || served_ < mostServed_; });
        ++served_;
    }
    const struct Leave {
        ~Leave() {
            const std::lock_guard lock(server.mutex_);
            --server.served_;
            server.ended_.notify_all();
        }
        ScriptedServer& server;
    } leave{*this};
    for (Conversation talk(*this, client); talk.exchange();) continue;
}

ScriptedServer::~ScriptedServer() {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    ended_.notify_all();
}

std::string ScriptedServer::url(std::string_view path) const {
    return localUrl(server_->port(), path, tls_ ? "https" : "http");
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Handler handler) {
    const std::lock_guard lock(mutex_);
    rules_.push_back({std::move(method), std::move(target), std::move(handler)});
    return *this;
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Answer answer) {
    return inTurn(std::move(method), std::move(target), {std::move(answer)});
}

ScriptedServer& ScriptedServer::inTurn(std::string method, std::string target,
                                       std::vector<Answer> answers) {
    return on(std::move(method), std::move(target),
              [answers = std::move(answers), next = size_t{0}](const Request&) mutable {
                  return answers[std::min(next++, answers.size() - 1)];
              });
}

Answer ScriptedServer::answerTo(const std::shared_ptr<Request>& request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), [&](const Rule& each) {
        return (each.method == "*" || each.method == request->method) &&
               fits(each.target, request->target);
    });
    if (rule != rules_.rend()) return rule->handler(*request);
    std::fprintf(stderr, "ScriptedServer: no rule for %s %s\n", request->method.c_str(),
                 request->target.c_str());
    return Answer(501);
}

void ScriptedServer::pauseFor(Duration time) {
    std::unique_lock lock(mutex_);
    ended_.wait_for(lock, time, [this] { return ending_; });
}

ScriptedServer& ScriptedServer::serveAtOnce(int connections) {
    mostServed_ = connections;
    return *this;
}

std::vector<Request> ScriptedServer::requests() const {
    const std::lock_guard lock(mutex_);
    std::vector<Request> copies;
    for (const auto& request : requests_) copies.push_back(*request);
    return copies;
}

int ScriptedServer::connections() const {
    const std::lock_guard lock(mutex_);
    return connections_;
}

std::string ScriptedServer::transcript() const {
    std::string text;
    for (const Request& request : requests()) {
        text +=
            request.method + " " + request.target + " " + std::to_string(request.answered) + "\n";
    }
    return text;
}

void ScriptedServer::clearRequests() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

}  // namespace support
