#include "platform/http/curl_options.hpp"

#include <new>

#include "platform/base/status.hpp"

namespace vxhost {

void refuseOption(CURLcode code) {
    if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure(WEBLNK_LIBRARY_FAILED, curl_easy_strerror(code));
}

void require(CURLMcode code) {
    if (code == CURLM_OK) return;
    if (code == CURLM_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure(WEBLNK_LIBRARY_FAILED, curl_multi_strerror(code));
}

void setConnectionOptions(CURL* easy, const Settings& settings) {
    // Small pieces keep to a speed, large ones spare system calls. A handle in use takes no other.
    const long pieceBytes = settings.mostSpeed > 0 ? 16L << 10 : 256L << 10;
    setOption(easy, CURLOPT_HTTP09_ALLOWED, 0L);
    setOption(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    setOption(easy, CURLOPT_NOSIGNAL, 1L);
    setOption(easy, CURLOPT_QUICK_EXIT, 1L);  // an interrupt does not wait for a name server
    setOption(easy, CURLOPT_FOLLOWLOCATION, 0L);
    setOption(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    setOption(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeout.count()));
    setOption(easy, CURLOPT_EXPECT_100_TIMEOUT_MS, 3000L);
    setOption(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    setOption(easy, CURLOPT_BUFFERSIZE, pieceBytes);
    setOption(easy, CURLOPT_UPLOAD_BUFFERSIZE, pieceBytes);
    setOption(easy, CURLOPT_USERAGENT, settings.userAgent.c_str());
    for (const auto option : {CURLOPT_SSL_VERIFYPEER, CURLOPT_PROXY_SSL_VERIFYPEER}) {
        setOption(easy, option, settings.insecure ? 0L : 1L);
    }
    for (const auto option : {CURLOPT_SSL_VERIFYHOST, CURLOPT_PROXY_SSL_VERIFYHOST}) {
        setOption(easy, option, settings.insecure ? 0L : 2L);
    }
    if (settings.caFile.empty()) return;
    for (const auto option : {CURLOPT_CAINFO, CURLOPT_PROXY_CAINFO}) {
        setOption(easy, option, settings.caFile.c_str());
    }
    for (const auto option : {CURLOPT_CAPATH, CURLOPT_PROXY_CAPATH}) {
        setOption(easy, option, nullptr);  // the file alone is trusted
    }
}

}  // namespace vxhost
