#include "platform/http/stall_watch.hpp"

#include <linux/sockios.h>
#include <sys/ioctl.h>

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

bool StallWatch::stalled(CURL* easy, uint64_t headerBytes) {
    Marks now;
    curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &now.down);
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &now.up);
    now.headers = headerBytes;
    now.queued = unsentBytes(easy);
    if (now == last_) return Clock::now() - since_ >= limit_;
    last_ = now;
    since_ = Clock::now();
    return false;
}

}  // namespace vxhost
