// Answers that are remembered for a moment, since the same question follows at once.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/http/request.hpp"

namespace vxhost {

class Recall {
public:
    // Successes of OPTIONS and HEAD are remembered. Where something is missing or not done (404,
    // 405, 501) what others were told may be out of date. url: as first asked.
    void note(const Request& request, const std::string& url, const Answer& answer);
    // The answer to the same request, unless it is older than that allows.
    std::optional<Answer> find(const Request& request) const;
    void drop() { noted_.clear(); }

private:
    using Clock = std::chrono::steady_clock;
    struct Noted {
        std::string method, url;
        Answer answer;
        Clock::time_point at;
    };
    std::vector<Noted> noted_;  // the latest at the end
};

}  // namespace vxhost
