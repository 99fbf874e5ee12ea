#include "platform/weblnk/properties.hpp"

#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/http/exchange.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

// What stands for the resource itself in an answer about one.
const vx::Node* propertiesIn(const vx::Node* response) {
    return childElement(childElement(response, U"propstat"), U"prop");
}

struct Described {
    int32_t status = 200;  // that the multistatus gives its response itself (RFC 4918, 14.24)
    bool isCollection = false;
};

// Of a "status" element; otherwise when it holds none.
int32_t statusIn(const vx::Node* element, int32_t otherwise) {
    return parseStatusLine(shownUtf8(content(element))).value_or(otherwise);
}

Described describe(const std::string& multistatus) {
    TreeBuilder builder;
    builder.feed(multistatus);
    const auto document = builder.finish();
    const vx::Node* response = childElement(document->firstChild, U"response");
    const vx::Node* properties = propertiesIn(response);
    Described described;
    described.isCollection =
        childElement(childElement(properties, U"resourcetype"), U"collection") != nullptr;
    described.status = statusIn(childElement(response, U"status"), described.status);
    return described;
}

}  // namespace

PropertyAnswer askProperty(const Target& target, std::string_view property, bool uninterrupted) {
    Request request = propertyRequest(usableUrl(target), property);
    if (uninterrupted) request.policy = lookingAtTheEnd;
    Answer answer = exchange(target, std::move(request));
    const bool useful = answer.status == 207;
    return {answer.status, useful ? std::move(answer.text) : std::string()};
}

bool tellsProperty(const std::string& multistatus, std::u32string_view property) {
    TreeBuilder builder;
    builder.feed(multistatus);
    const auto document = builder.finish();
    const vx::Node* propstat =
        childElement(childElement(document->firstChild, U"response"), U"propstat");
    for (; propstat; propstat = propstat->nextSibling) {
        const bool found = isSuccess(statusIn(childElement(propstat, U"status"), 200));
        if (found && childElement(childElement(propstat, U"prop"), property)) return true;
    }
    return false;
}

std::optional<uint64_t> sizeByProperties(const Target& target) {
    try {
        const PropertyAnswer answer = askProperty(target, "getcontentlength");
        if (answer.multistatus.empty()) return {};
        TreeBuilder builder;
        builder.feed(answer.multistatus);
        const auto document = builder.finish();
        const vx::Node* response = childElement(document->firstChild, U"response");
        const auto* length = childElement(propertiesIn(response), U"getcontentlength");
        return parseNumber<uint64_t>(trim(shownUtf8(content(length))));
    } catch (const Failure& failure) {  // no XML, or no answer: it says nothing
        if (failure.status() == WEBLNK_INTERRUPTED) throw;
        return {};
    }
}

int32_t statusOfChange(const Answer& answer) {
    if (answer.status != 207) return answer.status;
    TreeBuilder builder;
    builder.feed(answer.text);
    const auto document = builder.finish();
    int32_t failure = answer.status;
    for (const vx::Node* response = childElement(document->firstChild, U"response"); response;
         response = response->nextSibling) {
        const int32_t status = statusIn(childElement(response, U"status"), answer.status);
        if (!isSuccess(status) && status != 424) return status;
        if (status == 424) failure = status;  // of what failed because something else did
    }
    return failure;
}

int32_t statusByProperties(const Target& target, int32_t headStatus) {
    const PropertyAnswer answer = askProperty(target, "resourcetype");
    if (answer.status == 404 || answer.status == 401) return answer.status;
    if (answer.multistatus.empty()) return headStatus;
    try {
        const Described described = describe(answer.multistatus);
        if (!isSuccess(described.status)) return described.status;
        // A name that is locked, and nothing else yet, has properties (RFC 4918, appendix D).
        const bool nameOnly = headStatus == 404 && !described.isCollection;
        return nameOnly ? 404 : 200;
    } catch (const Failure&) {  // no XML: it says nothing
        return headStatus;
    }
}

}  // namespace vxhost
