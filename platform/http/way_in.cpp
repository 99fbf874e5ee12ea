#include "platform/http/way_in.hpp"

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <new>
#include <string>

#include "platform/base/settings.hpp"
#include "platform/http/client_certificate.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/server_certificate.hpp"
#include "platform/text/url.hpp"

namespace vxhost {
namespace {

// Proxies over TLS may do what no TLS of today does any more: by that their connections are told
// from the server's, which curl prepares by the same function.
constexpr long optionsOfProxies = CURLSSLOPT_ALLOW_BEAST;
bool isToProxy(const SSL* connection) {
    return (SSL_get_options(connection) & SSL_OP_DONT_INSERT_EMPTY_FRAGMENTS) != 0;
}

bool hasPinnedKey(const SSL* server, const std::string& pin) {
    const X509* shown = SSL_get0_peer_certificate(server);
    return shown != nullptr && pinOf(*shown) == pin;
}

// Whether what the server shows is for the host that is meant: anybody may have a certificate that
// a trusted authority made for another name.
bool isForItsHost(const SSL* server, const WayIn& wayIn) {
    const X509* shown = SSL_get0_peer_certificate(server);
    if (shown == nullptr) return false;
    X509* certificate = const_cast<X509*>(shown);  // which the next calls only read
    if (const char* name = SSL_get_servername(server, TLSEXT_NAMETYPE_host_name)) {
        constexpr unsigned flags = X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;
        return X509_check_host(certificate, name, 0, flags, nullptr) == 1;
    }
    const std::string host = hostOf(wayIn.origin);
    constexpr unsigned flags = X509_CHECK_FLAG_NO_WILDCARDS;
    return X509_check_ip_asc(certificate, host.c_str(), 0) == 1 ||
           X509_check_host(certificate, host.c_str(), 0, flags, nullptr) == 1;
}

bool isTheServer(const SSL* server, const WayIn& wayIn) {
    if (!wayIn.pin.empty()) return hasPinnedKey(server, wayIn.pin);
    const bool isAnybody = SSL_get_verify_mode(server) == SSL_VERIFY_NONE;  // as the person wants
    return isAnybody || isForItsHost(server, wayIn);
}

// Called when the server asks for a certificate, having shown its own. Who has another key than the
// pinned one, or another name, is shown none; curl looks at these when the connection is made, and
// tells of it.
int present(SSL* connection, void* self) noexcept {
    const WayIn& wayIn = *static_cast<const WayIn*>(self);
    try {
        if (isToProxy(connection) || !isTheServer(connection, wayIn)) return 1;
        return wayIn.certificate->presentOver(connection) ? 1 : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

// curl would keep the passphrase, read the file for each connection, and compare the pin and the
// host's name after the certificate has gone out.
CURLcode prepare(CURL*, void* context, void* self) noexcept {
    SSL_CTX_set_cert_cb(static_cast<SSL_CTX*>(context), &present, self);
    return CURLE_OK;
}

}  // namespace

const WayIn* wayInTo(std::string_view url, const Settings& settings) {
    const bool fits = settings.wayIn && sameOrigin(url, settings.wayIn->origin);
    return fits ? settings.wayIn.get() : nullptr;
}

void setWayIn(CURL* easy, const WayIn& wayIn) {
    if (wayIn.certificate) {
        setOption(easy, CURLOPT_SSL_CTX_FUNCTION, &prepare);
        setOption(easy, CURLOPT_SSL_CTX_DATA, const_cast<WayIn*>(&wayIn));
        setOption(easy, CURLOPT_PROXY_SSL_OPTIONS, optionsOfProxies);
    }
    if (!wayIn.unixSocket.empty()) {
        setOption(easy, CURLOPT_UNIX_SOCKET_PATH, wayIn.unixSocket.c_str());
        setOption(easy, CURLOPT_NOPROXY, "*");
    }
    if (wayIn.pin.empty()) return;
    // Who holds the key is the server, whatever name and dates stand in its certificate.
    setOption(easy, CURLOPT_PINNEDPUBLICKEY, wayIn.pin.c_str());
    setOption(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    setOption(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    setOption(easy, CURLOPT_CERTINFO, 1L);  // to say which key it has instead
}

}  // namespace vxhost
