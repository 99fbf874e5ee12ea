#include "platform/http/stall_watch.hpp"

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>

namespace vxhost {
namespace {

// The kernel takes megabytes at once for a slow line: an upload that curl has handed over whole
// still moves while this falls.
int unsentBytes(CURL* easy) {
    curl_socket_t socket = CURL_SOCKET_BAD;
    int bytes = 0;
    curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &socket);
    if (socket == CURL_SOCKET_BAD || ioctl(socket, SIOCOUTQ, &bytes) != 0) return 0;
    return bytes;
}

}  // namespace

StallWatch::StallWatch(std::chrono::milliseconds limit, uint64_t leastSpeed)
    : limit_(limit),
      least_(std::max<int64_t>(1, static_cast<int64_t>(leastSpeed) * limit.count() / 1000)) {}

std::optional<int64_t> StallWatch::stalled(CURL* easy, uint64_t headerBytes) {
    curl_off_t down = 0, up = 0;
    curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &down);
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &up);
    const int64_t all = static_cast<int64_t>(headerBytes) + down + up - unsentBytes(easy);
    start_ = std::min(start_, all);  // it falls when curl begins anew, and with what is queued
    const int64_t moved = all - start_;
    const auto now = Clock::now();
    if (moved < least_) {
        return now - since_ >= limit_ ? std::optional(moved) : std::nullopt;
    }
    since_ = now;
    start_ = all;
    return {};
}

}  // namespace vxhost
