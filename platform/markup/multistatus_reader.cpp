#include "platform/markup/multistatus_reader.hpp"

#include <algorithm>
#include <utility>

#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {
namespace {

constexpr XmlLimits limits = {.bytes = uint64_t{64} << 30};  // it streams: time is the limit
constexpr size_t longestValue = 1 << 20;                     // bytes of an href or a property

// An empty status line refuses nothing.
bool grants(std::string_view statusLine) {
    return trim(statusLine).empty() || isSuccess(parseStatusLine(statusLine).value_or(0));
}

}  // namespace

enum class MultistatusReader::Place : uint8_t {
    outside,
    multistatus,
    response,
    href,
    responseStatus,
    propstat,
    propstatStatus,
    prop,
    displayName,  // from here to entityTag as in MultistatusResponse::Value
    contentLength,
    lastModified,
    creationDate,
    entityTag,
    resourceType,
    collection,
    other,
    ignored,
};

struct MultistatusReader::Transition {
    Place from, to;
    std::string_view name;  // in "DAV:"
};

constexpr MultistatusReader::Transition MultistatusReader::transitions[] = {
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
    {Place::other, Place::other, "href"},
};

bool MultistatusResponse::isRefused() const {
    return !hasPropstat && !grants(status);
}

void MultistatusReader::Properties::clear() {
    for (auto& value : values) value.clear();
    for (auto& value : others) value.clear();
    isCollection = false;
}

MultistatusReader::MultistatusReader(Take take, TakeRoot takeRoot, std::vector<std::string> others)
    : take_(std::move(take)),
      takeRoot_(std::move(takeRoot)),
      otherNames_(std::move(others)),
      reader_(*this, limits) {
    kept_.others.resize(otherNames_.size());
    found_.others.resize(otherNames_.size());
}

MultistatusReader::Place MultistatusReader::placeOf(std::string_view name, Place parent) {
    const auto local = davName(name);
    const auto found = std::find_if(
        std::begin(transitions), std::end(transitions),
        [&](const Transition& row) { return row.from == parent && row.name == local; });
    if (found != std::end(transitions)) return found->to;
    if (parent != Place::prop) return Place::ignored;
    const auto other = std::ranges::find(otherNames_, name);
    if (other == otherNames_.end()) return Place::ignored;
    other_ = static_cast<size_t>(other - otherNames_.begin());
    return Place::other;
}

void MultistatusReader::startElement(std::string_view name) {
    const Place parent = open_.empty() ? Place::outside : open_.back();
    if (parent == Place::ignored) {  // as half of all elements of most answers
        open_.push_back(parent);
        return;
    }
    const Place place = placeOf(name, parent);
    if (parent == Place::outside && takeRoot_) takeRoot_(name);
    open_.push_back(place);
    begin(place);
    text_ = textAt(place);
    if (text_) text_->clear();
}

void MultistatusReader::endElement() {
    end(open_.back());
    open_.pop_back();
    text_ = open_.empty() ? nullptr : textAt(open_.back());
}

void MultistatusReader::characters(std::string_view text) {
    if (!text_) return;
    if (text.size() > longestValue - text_->size()) {
        throw Failure(WEBLNK_BAD_ANSWER, "an href or a property of the answer is too long");
    }
    text_->append(text);
}

std::string* MultistatusReader::textAt(Place place) {
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
        case Place::other:
            return &found_.others[other_];
        default:
            return nullptr;
    }
}

void MultistatusReader::begin(Place place) {
    if (place == Place::response) {
        response_ = {};
        href_.clear();
        status_.clear();
        hasHref_ = false;
        kept_.clear();
    } else if (place == Place::propstat) {
        foundStatus_.clear();
        found_.clear();
        response_.hasPropstat = true;
    } else if (place == Place::collection) {
        found_.isCollection = true;
    }
}

void MultistatusReader::end(Place place) {
    if (place == Place::href) {
        hasHref_ = true;
    } else if (place == Place::propstat) {
        if (grants(foundStatus_)) {
            mergeFound();
        } else if (response_.refusedStatus == 0) {
            response_.refusedStatus = parseStatusLine(foundStatus_).value_or(-1);
        }
    } else if (place == Place::response) {
        tellResponse();
    }
}

void MultistatusReader::mergeFound() {
    for (size_t i = 0; i < found_.values.size(); ++i) {
        if (!found_.values[i].empty()) kept_.values[i].swap(found_.values[i]);
    }
    for (size_t i = 0; i < found_.others.size(); ++i) {
        if (!found_.others[i].empty()) kept_.others[i].swap(found_.others[i]);
    }
    kept_.isCollection = kept_.isCollection || found_.isCollection;
}

void MultistatusReader::tellResponse() {
    response_.href = trim(href_);
    response_.status = status_;
    for (size_t i = 0; i < kept_.values.size(); ++i) response_.values[i] = kept_.values[i];
    response_.isCollection = kept_.isCollection;
    response_.others = &kept_.others;
    take_(response_);
}

}  // namespace vxhost
