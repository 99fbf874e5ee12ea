#include "platform/http/way_in.hpp"

#include "platform/base/settings.hpp"
#include "platform/http/client_certificate.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/text/url.hpp"

namespace vxhost {

const WayIn* wayInTo(std::string_view url, const Settings& settings) {
    const bool fits = settings.wayIn && sameOrigin(url, settings.wayIn->origin);
    return fits ? settings.wayIn.get() : nullptr;
}

void setWayIn(CURL* easy, const WayIn& wayIn) {
    if (wayIn.certificate) wayIn.certificate->presentBy(easy);
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
