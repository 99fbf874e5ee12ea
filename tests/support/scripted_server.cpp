#include "tests/support/scripted_server.hpp"

#include <algorithm>
#include <boost/beast/http/status.hpp>
#include <cstdio>
#include <iterator>

namespace support {
namespace {

constexpr size_t chunkBytes = 1024;

bool fits(const std::string& pattern, const std::string& target) {
    if (!pattern.ends_with('*')) return pattern == target;
    return target.starts_with(std::string_view(pattern).substr(0, pattern.size() - 1));
}

std::string chunk(std::string_view bytes) {
    char size[20];
    std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
    return size + std::string(bytes) + "\r\n";
}

std::string statusLine(int status) {
    auto reason = boost::beast::http::obsolete_reason(
        boost::beast::http::int_to_status(static_cast<unsigned>(status)));
    return "HTTP/1.1 " + std::to_string(status) + " " + std::string(reason) + "\r\n";
}

}  // namespace

class ScriptedServer::Conversation {
public:
    Conversation(ScriptedServer& server, const Socket& client) : server_(server), client_(client) {}

    void run() {
        while (readHead())
            if (!exchange()) return;
    }

private:
    bool readHead() {
        for (;;) {
            if (auto head = scanner_.takeHead()) {
                request_ = {std::move(*head), "", scanner_.done(), 0};
                index_ = server_.record(request_);
                return true;
            }
            if (!readMore()) return false;
        }
    }

    bool readMore() {
        std::string bytes = client_.receive();
        scanner_.add(bytes);
        return !bytes.empty();
    }

    // False: the connection ends.
    bool exchange() {
        Action action = server_.actionFor(request_);
        if (auto* handler = std::get_if<Handler>(&action))
            return readBody() && deliver((*handler)(request_));
        const Answer& answer = std::get<Answer>(action);
        if (answer.beforeBody_) return deliver(answer) && readRest();
        if (!answer.closeAfterBody_) return readBody() && deliver(answer);
        readBody(*answer.closeAfterBody_);
        client_.resetOnClose();
        return false;
    }

    // False: the client ended it, or so many bytes are there.
    bool readBody(size_t atMost = std::numeric_limits<size_t>::max()) {
        bool waits = !request_.complete && !scanner_.pending() && !request_.field("Expect").empty();
        if (waits && request_.answered == 0) client_.send("HTTP/1.1 100 Continue\r\n\r\n");
        while (!scanner_.done() && request_.body.size() < atMost) {
            scanner_.takeBody(request_.body);
            server_.update(index_, request_);
            if (!scanner_.done() && request_.body.size() < atMost && !readMore()) return false;
        }
        request_.complete = scanner_.done();
        server_.update(index_, request_);
        return request_.complete;
    }

    // After an early answer. Who expected a 100 need not send the body, so that nobody could tell
    // what the next bytes are: that connection ends.
    bool readRest() {
        if (request_.field("Expect").empty()) return readBody();
        client_.endSending();
        readBody();
        return false;
    }

    bool deliver(const Answer& answer) {
        if (answer.dropped_) return false;
        request_.answered = answer.status_;
        server_.update(index_, request_);
        if (answer.raw_) {
            client_.send(*answer.raw_);
            return false;
        }
        bool sent = client_.send(header(answer));
        bool noBody = request_.method == "HEAD" || answer.status_ == 204 || answer.status_ == 304;
        return sent && (noBody || sendBody(answer)) && finish(answer);
    }

    static std::string header(const Answer& answer) {
        std::string text = statusLine(answer.status_);
        for (const auto& [name, value] : answer.fields_) text += name + ": " + value + "\r\n";
        if (answer.chunked_)
            text += "Transfer-Encoding: chunked\r\n";
        else if (answer.status_ != 204 && answer.status_ != 304)
            text += "Content-Length: " +
                    std::to_string(answer.declared_.value_or(answer.body_.size())) + "\r\n";
        return text + "\r\n";
    }

    bool sendBody(const Answer& answer) {
        std::string_view rest = std::string_view(answer.body_).substr(0, answer.sent_);
        size_t piece = answer.chunked_ ? std::min(answer.piece_, chunkBytes) : answer.piece_;
        for (bool first = true; !rest.empty() || answer.endless_; first = false) {
            if (rest.empty()) rest = answer.body_;
            auto bytes = rest.substr(0, piece);
            rest.remove_prefix(bytes.size());
            if (answer.garbage_ && !first) return client_.send("not a size\r\n") && false;
            if (!client_.send(answer.chunked_ ? chunk(bytes) : std::string(bytes))) return false;
            if (!server_.pauseFor(answer.pause_)) return false;
        }
        if (answer.end_ == Answer::End::keep && answer.chunked_) return client_.send("0\r\n\r\n");
        return true;
    }

    bool finish(const Answer& answer) {
        if (answer.end_ == Answer::End::reset) client_.resetOnClose();
        if (answer.end_ == Answer::End::stall) server_.stall();
        return answer.end_ == Answer::End::keep;
    }

    ScriptedServer& server_;
    const Socket& client_;
    HttpScanner<true> scanner_;
    Request request_;
    size_t index_ = 0;
};

ScriptedServer::ScriptedServer()
    : server_([this](const Socket& client) {
          try {
              Conversation(*this, client).run();
          } catch (const std::exception& error) {
              std::fprintf(stderr, "ScriptedServer: %s\n", error.what());
          }
      }) {}

ScriptedServer::~ScriptedServer() {
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    server_.stop();
}

std::string ScriptedServer::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + "/" + std::string(path);
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Answer answer) {
    std::lock_guard lock(mutex_);
    rules_.push_back({std::move(method), std::move(target), std::move(answer)});
    return *this;
}

ScriptedServer& ScriptedServer::on(std::string method, std::string target, Handler handler) {
    std::lock_guard lock(mutex_);
    rules_.push_back({std::move(method), std::move(target), std::move(handler)});
    return *this;
}

ScriptedServer& ScriptedServer::once(std::string method, std::string target, Answer answer) {
    std::lock_guard lock(mutex_);
    onceRules_.push_back({std::move(method), std::move(target), std::move(answer)});
    return *this;
}

ScriptedServer::Action ScriptedServer::actionFor(const Request& request) {
    auto fitting = [&](const Rule& rule) {
        return (rule.method == "*" || rule.method == request.method) &&
               fits(rule.target, request.target);
    };
    std::lock_guard lock(mutex_);
    if (auto once = std::ranges::find_if(onceRules_, fitting); once != onceRules_.end()) {
        Action action = std::move(once->action);
        onceRules_.erase(once);
        return action;
    }
    auto rule = std::find_if(rules_.rbegin(), rules_.rend(), fitting);
    if (rule != rules_.rend()) return rule->action;
    std::fprintf(stderr, "ScriptedServer: no rule for %s %s\n", request.method.c_str(),
                 request.target.c_str());
    return Answer(501);
}

size_t ScriptedServer::record(const Request& request) {
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
    return requests_.size() - 1;
}

void ScriptedServer::update(size_t index, const Request& request) {
    std::lock_guard lock(mutex_);
    if (index < requests_.size()) requests_[index] = request;
    changed_.notify_all();
}

bool ScriptedServer::pauseFor(Duration time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return ending_; });
}

void ScriptedServer::stall() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ending_ || released_; });
}

void ScriptedServer::release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
}

std::vector<Request> ScriptedServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

std::string ScriptedServer::transcript() const {
    std::string text;
    for (const Request& request : requests())
        text +=
            request.method + " " + request.target + " " + std::to_string(request.answered) + "\n";
    return text;
}

void ScriptedServer::clearRequests() {
    std::lock_guard lock(mutex_);
    requests_.clear();
}

bool ScriptedServer::waitForRequests(size_t count, Duration deadline) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, deadline, [&] { return requests_.size() >= count; });
}

}  // namespace support
