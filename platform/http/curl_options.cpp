#include "platform/http/curl_options.hpp"

#include <new>
#include <string_view>

#include "platform/base/status.hpp"

namespace vxhost {
namespace {

// The file alone, where there is one.
void trust(CURL* easy, CURLoption file, CURLoption folder, const std::string& authorities) {
    if (authorities.empty()) return;
    setOption(easy, file, authorities.c_str());
    setOption(easy, folder, nullptr);
}

unsigned long proxyScheme(std::string_view name) {
    if (name == "digest") return CURLAUTH_DIGEST;
    if (name == "ntlm") return CURLAUTH_NTLM;
    return name == "negotiate" ? CURLAUTH_NEGOTIATE : CURLAUTH_BASIC;
}

}  // namespace

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
    setOption(easy, CURLOPT_HTTP09_ALLOWED, 0L);
    setOption(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    setOption(easy, CURLOPT_NOSIGNAL, 1L);
    setOption(easy, CURLOPT_QUICK_EXIT, 1L);  // an interrupt does not wait for a name server
    setOption(easy, CURLOPT_FOLLOWLOCATION, 0L);
    setOption(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    setOption(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeout.count()));
    setOption(easy, CURLOPT_EXPECT_100_TIMEOUT_MS, 3000L);
    setOption(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    setOption(easy, CURLOPT_USERAGENT, settings.userAgent.c_str());
    for (const auto option : {CURLOPT_SSL_VERIFYPEER, CURLOPT_PROXY_SSL_VERIFYPEER}) {
        setOption(easy, option, settings.insecure ? 0L : 1L);
    }
    for (const auto option : {CURLOPT_SSL_VERIFYHOST, CURLOPT_PROXY_SSL_VERIFYHOST}) {
        setOption(easy, option, settings.insecure ? 0L : 2L);
    }
    const std::string& ofProxy =
        settings.proxyCaFile.empty() ? settings.caFile : settings.proxyCaFile;
    trust(easy, CURLOPT_CAINFO, CURLOPT_CAPATH, settings.caFile);
    trust(easy, CURLOPT_PROXY_CAINFO, CURLOPT_PROXY_CAPATH, ofProxy);
    if (!settings.noProxy.empty()) setOption(easy, CURLOPT_NOPROXY, settings.noProxy.c_str());
    setOption(easy, CURLOPT_PROXYAUTH, static_cast<long>(proxyScheme(settings.proxyAuth)));
    // With a name, if an empty one, curl answers the proxy at all: then the ticket says who it is.
    if (settings.proxyAuth == "negotiate") setOption(easy, CURLOPT_PROXYUSERPWD, ":");
    setOption(easy, CURLOPT_HEADEROPT, CURLHEADER_SEPARATE);  // a proxy gets none of the server's
}

}  // namespace vxhost
