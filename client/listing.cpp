#include "client/listing.hpp"

#include <string_view>

#include "client/moment.hpp"
#include "client/name.hpp"
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

std::string Entry::displayName() const {
    const std::u32string_view href = hrefOf(*info_);
    if (info_->name == nullptr) return {};
    const bool fromHref = info_->name >= href.data() && info_->name < href.data() + href.size();
    return fromHref ? std::string() : vxhost::shownUtf8({info_->name, info_->nameLength});
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
    return Iterator(state_->handle->first);
}

size_t Listing::size() const {
    return state_->handle->memberCount;
}

}  // namespace quillon
