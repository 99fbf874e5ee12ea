#include "tests/support/delay_proxy.hpp"

#include <condition_variable>
#include <deque>

#include "tests/support/network.hpp"

namespace support {
namespace {

constexpr size_t mostWaiting = 64 << 20;  // bytes in flight; a full line stops the server

// Bytes that are under way. The last piece is an empty one.
class Line {
public:
    void put(std::string bytes, Clock::time_point due) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_ < mostWaiting; });
        waiting_ += bytes.size();
        pieces_.emplace_back(std::move(bytes), due);
        changed_.notify_all();
    }

    std::string take() {  // the next piece, when it is due
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !pieces_.empty(); });
        auto [bytes, due] = std::move(pieces_.front());
        pieces_.pop_front();
        waiting_ -= bytes.size();
        changed_.notify_all();
        lock.unlock();
        std::this_thread::sleep_until(due);
        return bytes;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<std::string, Clock::time_point>> pieces_;
    size_t waiting_ = 0;
};

void relay(Tcp::socket& client, uint16_t serverPort, Duration roundTrip) {
    Tcp::socket server = connectTo(serverPort);
    const auto connected = Clock::now() + roundTrip;
    Line line;
    std::thread receiving([&] {
        for (bool goesOn = true; goesOn;) {
            std::string bytes = receiveSome(server);
            goesOn = !bytes.empty();
            line.put(std::move(bytes), Clock::now() + roundTrip);
        }
    });
    std::thread delivering([&] {
        boost::system::error_code gone;  // what comes for a client that is, is dropped
        for (std::string bytes = line.take(); !bytes.empty(); bytes = line.take()) {
            boost::asio::write(client, boost::asio::buffer(bytes), gone);
        }
        shutDown(client);
    });
    boost::system::error_code gone;
    for (std::string bytes = receiveSome(client); !bytes.empty(); bytes = receiveSome(client)) {
        std::this_thread::sleep_until(connected);
        boost::asio::write(server, boost::asio::buffer(bytes), gone);
    }
    shutDown(server);
    receiving.join();
    delivering.join();
}

}  // namespace

DelayProxy::DelayProxy(uint16_t serverPort, Duration roundTrip)
    : proxy_(std::make_unique<ConnectionServer>([serverPort, roundTrip](Tcp::socket& client) {
          relay(client, serverPort, roundTrip);
      })) {}

DelayProxy::~DelayProxy() = default;

uint16_t DelayProxy::port() const {
    return proxy_->port();
}

}  // namespace support
