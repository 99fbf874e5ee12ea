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

std::string Entry::href() const {
    return vxhost::shownUtf8(hrefOf(*info_));
}

uint64_t Entry::size() const {
    return info_->size;
}

std::optional<Time> Entry::created() const {
    return timeOf(info_->created);
}

std::optional<Time> Entry::modified() const {
    return timeOf(info_->modified);
}

bool Entry::isCollection() const {
    return (info_->flags & vx::FILEINFO_COLLECTION) != 0;
}

Listing::Iterator& Listing::Iterator::operator++() {
    info_ = info_->next;
    return *this;
}

Listing::Iterator Listing::begin() const {
    return Iterator(state_->handle->first);
}

size_t Listing::size() const {
    return state_->handle->memberCount;
}

}  // namespace quillon
