#include "platform/http/curl_failure.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

#include "platform/http/proxy.hpp"

namespace vxhost {
namespace {

constexpr std::pair<unsigned long, std::string_view> schemes[] = {
    {CURLAUTH_BASIC, "Basic"},
    {CURLAUTH_DIGEST, "Digest"},
    {CURLAUTH_NTLM, "NTLM"},
    {CURLAUTH_NEGOTIATE, "Negotiate"},
};

std::string proxyAnswer(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &status);
    if (status < 300) return {};
    return fmt::format("the proxy answered {}{}", status, status == 407 ? proxySchemes(easy) : "");
}

bool isOfProxy(CURL* easy) {
    long problem = 0;
    curl_easy_getinfo(easy, CURLINFO_PROXY_SSL_VERIFYRESULT, &problem);
    return problem != 0;
}

// Alerts about the certificate of who connects (RFC 8446, 6.2), as OpenSSL words them.
bool isOfOwnCertificate(std::string_view words) {
    constexpr std::string_view alerts[] = {
        "alert certificate required",   "alert bad certificate",     "alert unknown ca",
        "alert certificate unknown",    "alert certificate expired", "alert certificate revoked",
        "alert unsupported certificate"};
    return std::any_of(std::begin(alerts), std::end(alerts),
                       [words](std::string_view alert) { return words.find(alert) != words.npos; });
}

}  // namespace

std::string proxySchemes(CURL* easy) {
    long offered = 0;
    curl_easy_getinfo(easy, CURLINFO_PROXYAUTH_AVAIL, &offered);
    std::string names;
    for (const auto& [scheme, name] : schemes) {
        if ((static_cast<unsigned long>(offered) & scheme) == 0) continue;
        names.append(names.empty() ? "" : ", ").append(name);
    }
    return names.empty() ? names : fmt::format(" (it takes logins by {})", names);
}

CurlFailure curlFailure(CURL* easy, CURLcode code, const std::string& detail, bool sent,
                        bool viaProxy) {
    const std::string words = detail.empty() ? curl_easy_strerror(code) : detail;
    if (const auto refusal = proxyAnswer(easy); !refusal.empty() && !sent) {
        return {WEBLNK_PROXY_REFUSED, refusal};
    }
    // "Unsupported proxy scheme for 'URL'": with the password that the URL may hold.
    if (words.starts_with("Unsupported proxy")) {
        return {WEBLNK_PROXY_REFUSED, fmt::format("the proxy's URL {}", unusableProxy)};
    }
    if (isOfOwnCertificate(words)) {
        return {WEBLNK_CERTIFICATE_WANTED, "the server ended the TLS connection (" + words + ")"};
    }
    switch (code) {
        case CURLE_OUT_OF_MEMORY:
            throw std::bad_alloc();
        case CURLE_UNSUPPORTED_PROTOCOL:  // also what is no HTTP
            if (sent) return {WEBLNK_BAD_ANSWER, "the answer is not HTTP (" + words + ")"};
            [[fallthrough]];
        case CURLE_URL_MALFORMAT:
            return {WEBLNK_BAD_URL, "not a usable URL (" + words + ")"};
        case CURLE_COULDNT_RESOLVE_HOST:
            return {WEBLNK_NO_SUCH_HOST, "no such host (" + words + ")"};
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_PROXY:
            return {WEBLNK_PROXY_REFUSED, "the proxy cannot be used (" + words + ")"};
        case CURLE_COULDNT_CONNECT:  // also for the second try of curl's own
            if (sent) return {WEBLNK_CUT_OFF, "the connection ended, and none can be made anew"};
            if (viaProxy) {
                return {WEBLNK_PROXY_REFUSED, "the proxy cannot be reached (" + words + ")"};
            }
            return {WEBLNK_NO_CONNECTION, "no connection (" + words + ")"};
        case CURLE_OPERATION_TIMEDOUT:
            if (viaProxy && !sent) {
                return {WEBLNK_PROXY_REFUSED, "the proxy did not answer in time (" + words + ")"};
            }
            return {WEBLNK_TIMED_OUT, "timed out (" + words + ")"};
        case CURLE_SSL_CONNECT_ERROR:
            if (words.find(" alert ") != words.npos) {
                return {WEBLNK_HANDSHAKE_REFUSED, "the server refused TLS (" + words + ")"};
            }
            return {WEBLNK_NO_TLS, "no TLS connection (" + words + ")"};
        case CURLE_SSL_CACERT_BADFILE:
            return {WEBLNK_NO_AUTHORITIES,
                    "the trusted authorities cannot be read (" + words + ")"};
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return {WEBLNK_TLS_REFUSED, fmt::format("no trusted TLS connection{} ({})",
                                                    isOfProxy(easy) ? " to the proxy" : "", words)};
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
            return {WEBLNK_BAD_ANSWER, "the answer is not readable (" + words + ")"};
        case CURLE_FAILED_INIT:
        case CURLE_NOT_BUILT_IN:
        case CURLE_UNKNOWN_OPTION:
        case CURLE_BAD_FUNCTION_ARGUMENT:
        case CURLE_FUNCTION_NOT_FOUND:
        case CURLE_INTERFACE_FAILED:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_ENGINE_INITFAILED:
            return {WEBLNK_LIBRARY_FAILED, "libcurl does not work (" + words + ")"};
        default:
            return {WEBLNK_CUT_OFF, "the connection was cut off (" + words + ")"};
    }
}

}  // namespace vxhost
