#include "platform/http/recall.hpp"

#include <algorithm>

namespace vxhost {
namespace {

constexpr size_t mostNoted = 16;

}  // namespace

void Recall::note(const Request& request, const std::string& url, const Answer& answer) {
    const int32_t status = answer.status;
    if (status == 404 || status == 405 || status == 501) drop();
    const bool wanted = request.method == "OPTIONS" || request.method == "HEAD";
    if (!wanted || status < 200 || status >= 300) return;
    std::erase_if(noted_, [&](const Noted& noted) {
        return noted.method == request.method && noted.url == url;
    });
    if (noted_.size() == mostNoted) noted_.erase(noted_.begin());
    noted_.push_back({request.method, url, answer, Clock::now()});
    noted_.back().answer.isRecalled = true;
}

std::optional<Answer> Recall::find(const Request& request) const {
    const auto found = std::ranges::find_if(noted_, [&](const Noted& noted) {
        return noted.method == request.method && noted.url == request.url;
    });
    if (found == noted_.end() || Clock::now() - found->at > request.recalled) return std::nullopt;
    return found->answer;
}

}  // namespace vxhost
