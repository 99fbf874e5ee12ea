#include "client/listing.hpp"

#include <string_view>

#include "client/address.hpp"
#include "client/state.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

std::u32string_view hrefOf(const vx::FileInfo& info) {
    if (info.href == nullptr) return {};
    return {info.href, static_cast<size_t>(info.hrefLength)};
}

}  // namespace

std::string Entry::segment() const {
    return vxhost::shownUtf8(lastSegment(hrefOf(*info_)));
}

std::string Entry::name() const {
    return vxhost::decodeSegment(segment());
}

// The document holds it as short as it can be told: a segment, a path, or a whole URL.
std::string Entry::href() const {
    std::string href = vxhost::shownUtf8(hrefOf(*info_));
    if (href.starts_with('/')) return std::string(vxhost::splitSpelt(*collectionUrl_).root) + href;
    const bool isSegment = href.find('/') >= href.size() - 1;
    return isSegment ? *collectionUrl_ + href : href;
}

std::optional<uint64_t> Entry::size() const {
    return sizeOf(*info_);
}

std::optional<Time> Entry::created() const {
    return timeOf(info_->created);
}

std::optional<Time> Entry::modified() const {
    return timeOf(info_->modified);
}

bool Entry::isCollection() const {
    return quillon::isCollection(*info_);
}

Listing::Iterator& Listing::Iterator::operator++() {
    info_ = info_->next;
    return *this;
}

Listing::Iterator Listing::begin() const {
    return {state_->handle->first, &state_->collection->url};
}

size_t Listing::size() const {
    return state_->handle->memberCount;
}

}  // namespace quillon
