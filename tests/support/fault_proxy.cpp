#include "tests/support/fault_proxy.hpp"

#include <poll.h>

#include <algorithm>

namespace support {
namespace {

// Hands a message on as it comes, or only the first half of it.
class Passage {
public:
    explicit Passage(const Socket& to) : to_(to) {}

    // False: the other side is gone, or here the message is cut.
    bool head(const MessageHead& head, bool hasBody, bool cut) {
        cut_ = cut;
        left_ = head.length / 2;
        lengthKnown_ = head.length > 0;
        if (!cut || hasBody) return to_.send(head.raw);
        to_.send(std::string_view(head.raw).substr(0, head.raw.size() / 2));
        return false;
    }

    bool body(std::string_view piece) {
        if (!cut_) return to_.send(piece);
        size_t part = lengthKnown_ ? std::min(piece.size(), left_) : piece.size() / 2;
        to_.send(piece.substr(0, part));
        left_ -= lengthKnown_ ? part : 0;
        return lengthKnown_ && left_ > 0;
    }

private:
    const Socket& to_;
    bool cut_ = false;
    bool lengthKnown_ = false;
    uint64_t left_ = 0;
};

}  // namespace

class FaultProxy::Relay {
public:
    Relay(FaultProxy& proxy, const Socket& client)
        : proxy_(proxy), client_(client), server_(Socket::connectTo(proxy.serverPort_)) {}

    void run() {
        relay();
        server_.close();
        // Closed with unread bytes, the connection would now end in a reset, now in order.
        client_.endSending();
        while (!client_.receive().empty()) continue;
    }

private:
    void relay() {
        pollfd ready[] = {{client_.fd(), POLLIN, 0}, {server_.fd(), POLLIN, 0}};
        while (poll(ready, 2, -1) > 0) {
            if (ready[0].revents && !(take(client_, requests_) && passRequests())) return;
            if (ready[1].revents && !(take(server_, answers_) && passAnswers())) return;
        }
    }

    template <class Scanner>
    static bool take(const Socket& from, Scanner& into) {
        std::string bytes = from.receive();
        into.add(bytes);
        return !bytes.empty();
    }

    // False, here and below: both connections end.
    bool passRequests() {
        while (requests_.pending()) {
            if (atRequest_) {
                fault_ = proxy_.beginRequest();
                atRequest_ = false;
                inRequestBody_ = false;
                if (fault_ == ProxyFault::beforeRequest) return false;
            }
            bool goesOn = inRequestBody_ ? passRequestBody() : passRequestHead();
            if (!goesOn) return false;
            atRequest_ = requests_.done();
            if (!inRequestBody_ && !atRequest_) return true;  // the header is not whole yet
        }
        return true;
    }

    bool passRequestHead() {
        auto head = requests_.takeHead();
        if (!head) return true;
        proxy_.record(*head);
        isHead_ = head->method == "HEAD";
        inRequestBody_ = !requests_.done();
        return toServer_.head(*head, inRequestBody_, fault_ == ProxyFault::inRequest);
    }

    bool passRequestBody() {
        std::string content;
        return toServer_.body(requests_.takeBody(content));
    }

    bool passAnswers() {
        while (answers_.pending()) {
            if (inAnswerBody_) {
                std::string content;
                if (!toClient_.body(answers_.takeBody(content))) return false;
            } else {
                auto head = answers_.takeHead(isHead_);
                if (!head) return true;
                if (!passAnswerHead(*head)) return false;
            }
            inAnswerBody_ = !answers_.done();
        }
        return true;
    }

    bool passAnswerHead(const MessageHead& head) {
        bool interim = head.status < 200;
        if (!interim && fault_ == ProxyFault::stall) proxy_.hold();
        if (!interim && (fault_ == ProxyFault::stall || fault_ == ProxyFault::beforeAnswer))
            return false;
        return toClient_.head(head, !answers_.done(), !interim && fault_ == ProxyFault::inAnswer);
    }

    FaultProxy& proxy_;
    const Socket& client_;
    Socket server_;
    Passage toServer_{server_}, toClient_{client_};
    HttpScanner<true> requests_;
    HttpScanner<false> answers_;
    ProxyFault fault_ = ProxyFault::none;  // of the request in work
    bool atRequest_ = true;                // the next byte is the first of a request
    bool inRequestBody_ = false, inAnswerBody_ = false;
    bool isHead_ = false;
};

FaultProxy::FaultProxy(uint16_t serverPort)
    : serverPort_(serverPort),
      proxy_([this](const Socket& client) { Relay(*this, client).run(); }) {}

FaultProxy::~FaultProxy() {
    release();
    proxy_.stop();
}

std::string FaultProxy::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + "/" + std::string(path);
}

void FaultProxy::failAt(int nth, ProxyFault fault) {
    std::lock_guard lock(mutex_);
    untilFault_ = nth;
    fault_ = fault;
    failed_ = released_ = false;
    requests_.clear();
}

void FaultProxy::release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
}

std::vector<std::string> FaultProxy::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

bool FaultProxy::failed() const {
    std::lock_guard lock(mutex_);
    return failed_;
}

ProxyFault FaultProxy::beginRequest() {
    std::lock_guard lock(mutex_);
    if (untilFault_ == 0 || --untilFault_ > 0) return ProxyFault::none;
    failed_ = fault_ != ProxyFault::none;
    return fault_;
}

void FaultProxy::record(const MessageHead& request) {
    std::lock_guard lock(mutex_);
    requests_.push_back(request.method + " " + request.target);
}

void FaultProxy::hold() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return released_; });
}

}  // namespace support
