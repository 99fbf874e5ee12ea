#include "platform/http/request_options.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <optional>

#include "platform/http/curl_options.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/http/way_in.hpp"

namespace vxhost {
namespace {

constexpr uint64_t expectThreshold = 1 << 20;  // bodies above it wait for 100 Continue
constexpr uint64_t streamThreshold = 1 << 18;  // the windows of HTTP/2 slow longer uploads
constexpr uint64_t leastBuffer = 16 << 10;     // bytes
constexpr uint64_t mostBuffer = 256 << 10;
constexpr uint64_t readsAtOnce = 100;  // of libcurl, before it looks at the speed
constexpr uint64_t leastRead = 1 << 10;

void addHeader(HeaderListPtr& headers, const char* line) {
    curl_slist* longer = curl_slist_append(headers.get(), line);
    if (!longer) throw std::bad_alloc();
    static_cast<void>(headers.release());
    headers.reset(longer);
}

// A handle whose last request shared its connection with others still has that one's buffers, and
// takes no other size: then it works with these.
void setBuffer(CURL* easy, CURLoption option, long bytes) {
    const CURLcode code = curl_easy_setopt(easy, option, bytes);
    if (code != CURLE_OK && code != CURLE_BAD_FUNCTION_ARGUMENT) refuseOption(code);
}

}  // namespace

HeaderListPtr setHeaders(CURL* easy, const Sender& sender, const Request& request,
                         bool awaitsContinue) {
    HeaderListPtr headers;
    for (const auto& line : request.headers) addHeader(headers, line.c_str());
    if (const WayIn* wayIn = wayInTo(request.url, sender.settings)) {
        for (const SecretText& line : wayIn->headers) addHeader(headers, line.get());
    }
    if (!request.document.empty()) {
        addHeader(headers, fmt::format("Content-Type: {}", request.documentType).c_str());
    }
    const bool large = request.upload &&
                       (request.isLarge ||
                        request.upload->length().value_or(expectThreshold + 1) > expectThreshold);
    addHeader(headers, large && awaitsContinue ? "Expect: 100-continue" : "Expect:");
    setOption(easy, CURLOPT_HTTPHEADER, headers.get());
    // A listing shrinks to a tenth. A member's bytes come as they are stored.
    setOption(easy, CURLOPT_ACCEPT_ENCODING, isListing(request) ? "gzip, deflate" : nullptr);
    return headers;
}

void setMethod(CURL* easy, const Sender& sender, const Request& request) {
    // Takes back what another request has set. With the document of one, curl would not rewind an
    // upload that it has to send again.
    setOption(easy, CURLOPT_POSTFIELDS, nullptr);
    setOption(easy, CURLOPT_HTTPGET, 1L);
    setOption(easy, CURLOPT_CUSTOMREQUEST, nullptr);
    const auto length = request.upload ? request.upload->length() : 0;
    const bool isLarge = request.isLarge || length.value_or(streamThreshold + 1) > streamThreshold;
    const WayIn* wayIn = wayInTo(request.url, sender.settings);
    const bool ofConnection = wayIn && wayIn->connectionScheme != 0;
    const bool isAlone = isLarge || ofConnection;
    const auto version = isAlone ? CURL_HTTP_VERSION_1_1 : CURL_HTTP_VERSION_2TLS;
    setOption(easy, CURLOPT_HTTP_VERSION, static_cast<long>(version));
    // Once a server shares connections of HTTP/2, libcurl 7.88 takes one of HTTP/1.1 that is in use
    // for such a one when there is no other, as after a GOAWAY, and writes a request into the body
    // of another. Connections of other TLS parameters, here of the same meaning, are kept apart.
    const long tls = CURL_SSLVERSION_DEFAULT;
    setOption(easy, CURLOPT_SSLVERSION, isAlone ? tls | CURL_SSLVERSION_MAX_TLSv1_3 : tls);
    if (request.upload) {
        setOption(easy, CURLOPT_UPLOAD, 1L);
        setOption(easy, CURLOPT_INFILESIZE_LARGE, length ? static_cast<curl_off_t>(*length) : -1);
        return;
    }
    if (request.method == "HEAD") {
        setOption(easy, CURLOPT_NOBODY, 1L);
        return;
    }
    if (!request.document.empty() || request.method == "POST") {
        setOption(easy, CURLOPT_POST, 1L);
        setOption(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                  static_cast<curl_off_t>(request.document.size()));
        setOption(easy, CURLOPT_POSTFIELDS, request.document.data());
    }
    if (request.method != "GET") setOption(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

void setSpeed(CURL* easy, const Sender& sender, const Request& request) {
    const Settings& settings = sender.settings;
    const bool moves = request.upload || request.policy.content;
    const uint64_t senders = settings.senders ? std::max(1u, settings.senders->load()) : 1;
    const auto most =
        static_cast<curl_off_t>(moves ? (settings.mostSpeed + senders - 1) / senders : 0);
    setOption(easy, CURLOPT_MAX_SEND_SPEED_LARGE, most);
    setOption(easy, CURLOPT_MAX_RECV_SPEED_LARGE, most);
}

void setBuffers(CURL* easy, const Sender& sender, const Request& request) {
    // Large pieces spare system calls, small ones keep to a speed. Each request gets a buffer anew,
    // and pages that are zeroed behind it cost more than all else of a small one.
    const uint64_t mostSpeed = sender.settings.mostSpeed;
    const auto bytesFor = [&](std::optional<uint64_t> length) {
        return static_cast<long>(
            mostSpeed > 0 ? leastBuffer
                          : std::clamp(length.value_or(mostBuffer), leastBuffer, mostBuffer));
    };
    const bool bringsMuch = isListing(request) || request.policy.content;
    long down = bytesFor(bringsMuch ? request.expectedBytes : 0);
    if (mostSpeed > 0 && request.policy.content) {
        // What comes in half a second, so that it does not come in gusts.
        down = static_cast<long>(std::clamp(mostSpeed / (2 * readsAtOnce), leastRead, leastBuffer));
    }
    setBuffer(easy, CURLOPT_BUFFERSIZE, down);
    setBuffer(easy, CURLOPT_UPLOAD_BUFFERSIZE,
              bytesFor(request.upload ? request.upload->length() : 0));
}

}  // namespace vxhost
