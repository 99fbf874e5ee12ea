#include "platform/weblnk/requests.hpp"

#include <fmt/format.h>

#include <utility>

#include "platform/http/exchange.hpp"

namespace vxhost {
namespace {

Request makeRequest(const char* method, std::string url, const Policy& policy) {
    Request request;
    request.method = method;
    request.url = std::move(url);
    request.policy = policy;
    return request;
}

}  // namespace

Request headRequest(std::string url) {
    return makeRequest("HEAD", std::move(url), looking);
}

Request optionsRequest(std::string url) {
    return makeRequest("OPTIONS", std::move(url), askingOptions);
}

Request contentRequest(std::string url) {
    Request request = makeRequest("GET", std::move(url), fetchingContent);
    request.headers = {"Accept-Encoding: identity"};  // the member's own bytes
    request.isStreamed = true;
    return request;
}

Request propertiesRequest(std::string url, uint32_t depth, std::string document) {
    Request request = makeRequest("PROPFIND", std::move(url), looking);
    request.headers = {fmt::format("Depth: {}", depth)};
    request.document = std::move(document);
    request.isStreamed = true;
    if (depth == 0) request.expectedBytes = 0;  // one resource does not fill a buffer
    return request;
}

Request propertyRequest(std::string url, std::string_view property) {
    Request request = propertiesRequest(
        std::move(url), 0,
        fmt::format("<?xml version=\"1.0\" encoding=\"utf-8\"?><D:propfind xmlns:D=\"DAV:\">"
                    "<D:prop><D:{}/></D:prop></D:propfind>",
                    property));
    request.isStreamed = false;
    return request;
}

Request changeRequest(const Target& target, const char* method, const Policy& policy) {
    return makeRequest(method, usableUrl(target), policy);
}

}  // namespace vxhost
