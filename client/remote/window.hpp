// How many requests a server is sent at a time: more until they take longer for it.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

namespace quillon {

class Window {
public:
    using Duration = std::chrono::duration<double>;  // seconds

    // limited: to a speed, which one request at a time keeps to.
    explicit Window(bool limited) : isLimited_(limited) {}

    // The first goes alone: it learns the scheme of authentication and the protocol.
    size_t width() const { return width_; }

    // An answer has come. took: from its sending; multiplexed: over one connection with others.
    void noteEnd(Duration took, bool multiplexed);
    void noteBusy();  // a server answered 429 or 503

private:
    const bool isLimited_;
    size_t most_ = 1;
    size_t width_ = 1;
    size_t ends_ = 0;  // since the width was looked at
    Duration sum_{0};
    std::optional<Duration> best_;  // mean of a width's answers
};

}  // namespace quillon
