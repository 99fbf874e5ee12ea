#include "tests/support/delay_proxy.hpp"

#include <poll.h>

#include <algorithm>
#include <deque>

namespace support {
namespace {

constexpr size_t mostWaiting = 64 << 20;  // bytes in flight; a full line stops the server

// Bytes that are under way to one side.
class Line {
public:
    explicit Line(const Socket& to) : to_(to) {}

    void put(std::string bytes, Clock::time_point due) {
        waiting_ += bytes.size();
        pieces_.push_back({std::move(bytes), due});
    }
    bool full() const { return waiting_ > mostWaiting; }

    bool deliver() {  // what is due; false: the side is gone
        while (!pieces_.empty() && pieces_.front().due <= Clock::now()) {
            if (!to_.send(pieces_.front().bytes)) return false;
            waiting_ -= pieces_.front().bytes.size();
            pieces_.pop_front();
        }
        return true;
    }
    bool empty() const { return pieces_.empty(); }
    Clock::time_point nextDue() const {
        return pieces_.empty() ? Clock::time_point::max() : pieces_.front().due;
    }

private:
    struct Piece {
        std::string bytes;
        Clock::time_point due;
    };
    const Socket& to_;
    std::deque<Piece> pieces_;
    size_t waiting_ = 0;
};

// Null: there is nothing to wait for but the sockets.
const timespec* timeUntil(Clock::time_point due, timespec& buffer) {
    if (due == Clock::time_point::max()) return nullptr;
    auto left = std::max(due - Clock::now(), Clock::duration{0});
    auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    buffer.tv_sec = seconds.count();
    buffer.tv_nsec = std::chrono::nanoseconds(left - seconds).count();
    return &buffer;
}

}  // namespace

DelayProxy::DelayProxy(uint16_t serverPort, Duration roundTrip)
    : serverPort_(serverPort),
      roundTrip_(roundTrip),
      proxy_([this](const Socket& client) { relay(client); }) {}

void DelayProxy::relay(const Socket& client) const {
    Socket server = Socket::connectTo(serverPort_);
    auto connected = Clock::now() + roundTrip_;
    Line toServer(server), toClient(client);
    bool serverEnded = !server;
    while (!serverEnded || !toClient.empty()) {
        timespec buffer;
        pollfd ready[] = {{toServer.full() ? -1 : client.fd(), POLLIN, 0},
                          {serverEnded || toClient.full() ? -1 : server.fd(), POLLIN, 0}};
        auto due = std::min(toServer.nextDue(), toClient.nextDue());
        if (ppoll(ready, 2, timeUntil(due, buffer), nullptr) < 0) return;
        if (ready[0].revents) {
            std::string bytes = client.receive();
            if (bytes.empty()) return;
            toServer.put(std::move(bytes), std::max(connected, Clock::now()));
        }
        if (ready[1].revents) {
            std::string bytes = server.receive();
            serverEnded = bytes.empty();
            if (!serverEnded) toClient.put(std::move(bytes), Clock::now() + roundTrip_);
        }
        if (!toServer.deliver() || !toClient.deliver()) return;
    }
}

}  // namespace support
