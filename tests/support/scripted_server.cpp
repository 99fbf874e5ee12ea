#include "tests/support/scripted_server.hpp"

#include <algorithm>
#include <cstdio>

#include "tests/support/http_probe.hpp"
#include "tests/support/network.hpp"

namespace support {
namespace {

constexpr size_t chunkBytes = 1024;
constexpr size_t wholeBody = std::numeric_limits<size_t>::max();

bool fits(const std::string& pattern, const std::string& target) {
    if (!pattern.ends_with('*')) return pattern == target;
    return target.starts_with(std::string_view(pattern).substr(0, pattern.size() - 1));
}

}  // namespace

// What it throws, and every false, ends the connection.
class ScriptedServer::Conversation {
public:
    Conversation(ScriptedServer& server, Tcp::socket& client) : server_(server), client_(client) {}

    bool exchange() {
        readHead();
        const Rule rule = server_.ruleFor(*request_);
        const Answer& answer = rule.answer;
        if (answer.beforeBody_) return deliver(answer) && readRest();
        readBody(answer.closeAfterBody_.value_or(wholeBody));
        if (answer.closeAfterBody_) return reset();
        return deliver(rule.handler ? rule.handler(*request_) : answer);
    }

private:
    void readHead() {
        parser_.emplace();
        http::read_header(client_, buffer_, *parser_);
        const auto& head = parser_->get();
        request_ = std::make_shared<Request>();
        request_->method = std::string(head.method_string());
        request_->target = std::string(head.target());
        for (const auto& field : head) {
            std::string& value = request_->fields[std::string(field.name_string())];
            value += (value.empty() ? "" : ", ") + std::string(field.value());
        }
        server_.record(request_);
    }

    void readBody(size_t atLeast = wholeBody) {
        std::string& body = parser_->get().body();
        const bool waits = !request_->field("Expect").empty() && buffer_.size() == 0;
        if (waits && request_->answered == 0) sendAll(client_, "HTTP/1.1 100 Continue\r\n\r\n");
        while (!parser_->is_done() && body.size() < atLeast) {
            http::read_some(client_, buffer_, *parser_);
        }
        const std::lock_guard lock(server_.mutex_);
        request_->complete = parser_->is_done();
        request_->body = std::move(body);
    }

    // After an early answer. Who expected a 100 need not send the body, so that nobody could tell
    // what the next bytes are: that connection ends.
    bool readRest() {
        const bool expected = !request_->field("Expect").empty();
        if (expected) client_.shutdown(Tcp::socket::shutdown_send);
        readBody();
        return !expected;
    }

    bool deliver(const Answer& answer) {
        if (answer.dropped_) return false;
        {
            const std::lock_guard lock(server_.mutex_);
            request_->answered = answer.status_;
        }
        sendAll(client_, answer.raw_.empty() ? header(answer) : answer.raw_);
        if (!answer.raw_.empty()) return false;
        const bool noBody = request_->method == "HEAD" || answer.status_ == 204;
        return (noBody || sendBody(answer)) && finish(answer);
    }

    static std::string header(const Answer& answer) {
        const auto status = http::int_to_status(static_cast<unsigned>(answer.status_));
        std::string text = "HTTP/1.1 " + std::to_string(answer.status_) + " " +
                           std::string(http::obsolete_reason(status)) + "\r\n";
        for (const auto& [name, value] : answer.fields_) text += name + ": " + value + "\r\n";
        if (answer.chunked_) return text + "Transfer-Encoding: chunked\r\n\r\n";
        if (answer.status_ == 204) return text + "\r\n";
        return text + "Content-Length: " + std::to_string(answer.body_.size()) + "\r\n\r\n";
    }

    bool sendBody(const Answer& answer) {
        std::string_view rest = std::string_view(answer.body_).substr(0, answer.sent_);
        const size_t piece = answer.chunked_ ? std::min(answer.piece_, chunkBytes) : answer.piece_;
        while (!rest.empty()) {
            const auto bytes = rest.substr(0, piece);
            rest.remove_prefix(bytes.size());
            if (answer.chunked_) {
                boost::asio::write(client_, http::make_chunk(boost::asio::buffer(bytes)));
            } else {
                sendAll(client_, bytes);
            }
            if (!server_.pauseFor(answer.pause_)) return false;
            if (answer.garbage_) sendAll(client_, "not a size\r\n");
            if (rest.empty() && answer.endless_) rest = answer.body_;
        }
        if (answer.chunked_ && answer.end_ == Answer::End::keep) sendAll(client_, "0\r\n\r\n");
        return true;
    }

    bool finish(const Answer& answer) {
        if (answer.end_ == Answer::End::reset) return reset();
        if (answer.end_ == Answer::End::stall) return server_.pauseFor(patience) && false;
        return answer.end_ == Answer::End::keep;
    }

    bool reset() {  // the client then sees no orderly end
        client_.set_option(boost::asio::socket_base::linger(true, 0));
        return false;
    }

    ScriptedServer& server_;
    Tcp::socket& client_;
    boost::beast::flat_buffer buffer_;
    std::optional<MessageParser<true>> parser_;
    std::shared_ptr<Request> request_;
};

ScriptedServer::ScriptedServer()
    : server_(std::make_unique<ConnectionServer>([this](Tcp::socket& client) {
          for (Conversation talk(*this, client); talk.exchange();) continue;
      })) {}

ScriptedServer::~ScriptedServer() {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    changed_.notify_all();
}

uint16_t ScriptedServer::port() const {
    return server_->port();
}

int ScriptedServer::connections() const {
    return server_->connections();
}

std::string ScriptedServer::url(std::string_view path) const {
    return localUrl(port(), path);
}

void ScriptedServer::add(std::vector<Rule>& to, Rule rule) {
    const std::lock_guard lock(mutex_);
    to.push_back(std::move(rule));
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Answer answer) {
    add(rules_, {std::move(method), std::move(target), std::move(answer), nullptr});
    return *this;
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Handler handler) {
    add(rules_, {std::move(method), std::move(target), Answer(), std::move(handler)});
    return *this;
}

ScriptedServer& ScriptedServer::once(std::string method, std::string target, Answer answer) {
    add(onceRules_, {std::move(method), std::move(target), std::move(answer), nullptr});
    return *this;
}

ScriptedServer::Rule ScriptedServer::ruleFor(const Request& request) {
    const auto fitting = [&](const Rule& rule) {
        return (rule.method == "*" || rule.method == request.method) &&
               fits(rule.target, request.target);
    };
    const std::lock_guard lock(mutex_);
    if (auto once = std::ranges::find_if(onceRules_, fitting); once != onceRules_.end()) {
        Rule rule = std::move(*once);
        onceRules_.erase(once);
        return rule;
    }
    const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), fitting);
    if (rule != rules_.rend()) return *rule;
    std::fprintf(stderr, "ScriptedServer: no rule for %s %s\n", request.method.c_str(),
                 request.target.c_str());
    return {"", "", Answer(501), nullptr};
}

void ScriptedServer::record(const std::shared_ptr<Request>& request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
}

bool ScriptedServer::pauseFor(Duration time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return ending_; });
}

std::vector<Request> ScriptedServer::requests() const {
    const std::lock_guard lock(mutex_);
    std::vector<Request> copies;
    for (const auto& request : requests_) copies.push_back(*request);
    return copies;
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

bool ScriptedServer::waitForRequests(size_t count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return requests_.size() >= count; });
}

}  // namespace support
