#include "platform/markup/multistatus_builder.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {
namespace {

constexpr XmlLimits LIMITS = {.bytes = uint64_t{64} << 30};  // it streams: time is the limit
constexpr size_t LONGEST_VALUE = 1 << 20;                    // bytes of an href or a property

// An empty status line refuses nothing.
bool grants(std::string_view statusLine) {
    return trim(statusLine).empty() || isSuccess(parseStatusLine(statusLine).value_or(0));
}

// Of a member: the extension would take what is no number for 0, and what is missing, too.
std::string_view sizeOrUnknown(std::string_view size) {
    static const std::string unknown = std::to_string(unknownSize);
    return parseNumber<uint64_t>(size) ? size : unknown;
}

}  // namespace

enum class MultistatusBuilder::Place : uint8_t {
    outside,
    multistatus,
    response,
    href,
    responseStatus,
    propstat,
    propstatStatus,
    prop,
    displayName,  // from here to entityTag as in Value
    contentLength,
    lastModified,
    creationDate,
    entityTag,
    resourceType,
    collection,
    ignored,
};

struct MultistatusBuilder::Transition {
    Place from, to;
    std::string_view name;  // in "DAV:"
};

constexpr MultistatusBuilder::Transition MultistatusBuilder::transitions[] = {
    {Place::outside, Place::multistatus, "multistatus"},
    {Place::multistatus, Place::response, "response"},
    {Place::response, Place::href, "href"},
    {Place::response, Place::propstat, "propstat"},
    {Place::response, Place::responseStatus, "status"},
    {Place::propstat, Place::prop, "prop"},
    {Place::propstat, Place::propstatStatus, "status"},
    {Place::prop, Place::displayName, "displayname"},
    {Place::prop, Place::contentLength, "getcontentlength"},
    {Place::prop, Place::lastModified, "getlastmodified"},
    {Place::prop, Place::creationDate, "creationdate"},
    {Place::prop, Place::entityTag, "getetag"},
    {Place::prop, Place::resourceType, "resourcetype"},
    {Place::resourceType, Place::collection, "collection"},
};

MultistatusBuilder::MultistatusBuilder(RewriteHref rewrite, uint64_t mostBytes)
    : rewrite_(std::move(rewrite)), mostBytes_(mostBytes), reader_(*this, LIMITS) {}

void MultistatusBuilder::startElement(std::string_view name) {
    const Place parent = open_.empty() ? Place::outside : open_.back();
    if (parent == Place::ignored) {  // as half of all elements of most answers
        open_.push_back(parent);
        return;
    }
    const auto local = davName(name);
    const auto found = std::find_if(
        std::begin(transitions), std::end(transitions),
        [&](const Transition& row) { return row.from == parent && row.name == local; });
    const Place place = found == std::end(transitions) ? Place::ignored : found->to;
    if (parent == Place::outside) {
        const auto root = place == Place::multistatus ? std::u32string_view(U"multistatus")
                                                      : document_->keep(nodeName(name));
        document_->firstChild = nodes_.create(vx::NODE_ELEMENT, root);
    }
    open_.push_back(place);
    begin(place);
    text_ = textAt(place);
    if (text_) text_->clear();
}

void MultistatusBuilder::endElement() {
    end(open_.back());
    open_.pop_back();
    text_ = open_.empty() ? nullptr : textAt(open_.back());
}

void MultistatusBuilder::characters(std::string_view text) {
    if (!text_) return;
    if (text.size() > LONGEST_VALUE - text_->size()) {
        throw Failure(WEBLNK_BAD_ANSWER, "an href or a property of the answer is too long");
    }
    text_->append(text);
}

std::string* MultistatusBuilder::textAt(Place place) {
    switch (place) {
        case Place::href:
            return hasHref_ ? nullptr : &href_;
        case Place::responseStatus:
            return &status_;
        case Place::propstatStatus:
            return &foundStatus_;
        case Place::displayName:
        case Place::contentLength:
        case Place::lastModified:
        case Place::creationDate:
        case Place::entityTag:
            return &found_.values[static_cast<size_t>(place) -
                                  static_cast<size_t>(Place::displayName)];
        default:
            return nullptr;
    }
}

void MultistatusBuilder::begin(Place place) {
    if (place == Place::response) {
        href_.clear();
        status_.clear();
        hasHref_ = hasPropstat_ = false;
        for (auto& value : kept_.values) value.clear();
        kept_.isCollection = false;
    } else if (place == Place::propstat) {
        foundStatus_.clear();
        for (auto& value : found_.values) value.clear();
        found_.isCollection = false;
        hasPropstat_ = true;
    } else if (place == Place::collection) {
        found_.isCollection = true;
    }
}

void MultistatusBuilder::end(Place place) {
    if (place == Place::href) {
        hasHref_ = true;
    } else if (place == Place::propstat) {
        if (grants(foundStatus_)) mergeFound();
    } else if (place == Place::response) {
        appendResponse();
    }
}

void MultistatusBuilder::mergeFound() {
    for (size_t i = 0; i < valueCount; ++i) {
        if (!found_.values[i].empty()) kept_.values[i].swap(found_.values[i]);
    }
    kept_.isCollection = kept_.isCollection || found_.isCollection;
}

void MultistatusBuilder::appendResponse() {
    const auto href = trim(href_);
    if (!hasPropstat_ && !grants(status_)) {
        if (skipped_++ == 0) firstSkipped_ = href;
        return;
    }
    const bool saysNothing = !hasPropstat_ && status_.empty();
    append(href, saysNothing ? nullptr : makePropstat());
}

void MultistatusBuilder::append(std::string_view href, const vx::Node* propstat) {
    if (document_->bytes() > mostBytes_) {
        throw Failure(WEBLNK_BAD_ANSWER,
                      fmt::format("it names so many members that {} MiB of memory, the most that "
                                  "one listing may take, do not hold them",
                                  mostBytes_ >> 20));
    }
    const vx::Node* child = propstat;
    if (rewrite_) href = rewrite_(href);
    if (!href.empty()) {
        const auto text = document_->keep(href);
        child =
            nodes_.create(vx::NODE_ELEMENT, U"href", nodes_.create(vx::NODE_TEXT, text), propstat);
    }
    auto* response = nodes_.create(vx::NODE_ELEMENT, U"response", child);
    if (lastResponse_) {
        NodeArena::setNextSibling(lastResponse_, response);
    } else {
        NodeArena::setFirstChild(document_->firstChild, response);
    }
    lastResponse_ = response;
}

// The extension would take such a display name for what it has already.
bool MultistatusBuilder::repeatsName(std::string_view name) const {
    const auto href = trim(href_);
    return href.ends_with(name) && href.size() > name.size() &&
           href[href.size() - name.size() - 1] == '/';
}

// From the last property, which most members share, to the first.
const vx::Node* MultistatusBuilder::makePropstat() {
    static constexpr std::array<std::u32string_view, entityTag> names = {
        U"displayname", U"getcontentlength", U"getlastmodified", U"creationdate"};
    const vx::Node* properties = nullptr;
    if (kept_.isCollection) {
        auto* collection = sharer_.element(U"collection", nullptr, nullptr);
        properties = sharer_.element(U"resourcetype", collection, nullptr);
    }
    for (size_t i = names.size(); i-- > 0;) {
        const std::string_view raw = kept_.values[i];
        auto value = i == displayName ? raw : trim(raw);
        if (i == contentLength && !kept_.isCollection) value = sizeOrUnknown(value);
        if (value.empty() || (i == displayName && repeatsName(value))) continue;
        properties = sharer_.element(names[i], sharer_.text(value), properties);
    }
    return sharer_.element(U"propstat", sharer_.element(U"prop", properties, nullptr), nullptr);
}

MultistatusBuilder::Told MultistatusBuilder::latest() const {
    return {trim(kept_.values[entityTag]), trim(kept_.values[contentLength]),
            trim(kept_.values[lastModified])};
}

DocumentPtr MultistatusBuilder::finish() {
    reader_.finish();
    if (skipped_ > 0 && !lastResponse_) {
        --skipped_;
        append(firstSkipped_, nullptr);
    }
    return std::move(document_);
}

}  // namespace vxhost
