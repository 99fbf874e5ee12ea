#include "cli/commands/look/content_part.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace quillon::cli {
namespace {

using End = ContentPart::End;
using Unit = ContentPart::Unit;

constexpr size_t leastKept = size_t{1} << 20;  // bytes; to forget is not worth it below
constexpr size_t mostKept = size_t{8} << 20;   // bytes of the wanted end

}  // namespace

void PartCutter::begin(const std::optional<vxhost::ContentRange>& range) {
    range_ = range;
    done_ = 0;
    bytes_ = feeds_ = 0;
    endsInFeed_ = true;
    isTooMuch_ = false;
    kept_.clear();
    mostKept_ = leastKept;
    const bool isLastBytes = part_.end == End::last && part_.unit == Unit::bytes;
    passes_ = isLastBytes && range && range->whole &&
              range->first == *range->whole - std::min(part_.count, *range->whole);
}

std::string_view PartCutter::take(std::string_view piece) {
    if (part_.end == End::first) return takeFirst(piece);
    if (skipped_) return takeBehindSkipped(piece);
    if (passes_) return piece;
    count(piece);
    if (isTooMuch_) return {};
    kept_ += piece;
    if (kept_.size() > mostKept_) forgetUnwanted();
    return {};
}

std::string_view PartCutter::takeFirst(std::string_view piece) {
    if (part_.unit == Unit::bytes) {
        const std::string_view wanted = piece.substr(0, part_.count - done_);
        done_ += wanted.size();
        return wanted;
    }
    size_t end = 0;
    while (end < piece.size() && done_ < part_.count) {
        const size_t feed = piece.find('\n', end);
        if (feed == piece.npos) return piece;
        end = feed + 1;
        ++done_;
    }
    return piece.substr(0, end);
}

std::string_view PartCutter::takeBehindSkipped(std::string_view piece) {
    size_t start = 0;
    if (part_.unit == Unit::bytes) {
        start = std::min<uint64_t>(*skipped_ - done_, piece.size());
        done_ += start;
    }
    while (done_ < *skipped_ && start < piece.size()) {
        start = std::min(piece.find('\n', start), piece.size() - 1) + 1;
        if (piece[start - 1] == '\n') ++done_;
    }
    return piece.substr(start);
}

void PartCutter::count(std::string_view piece) {
    if (piece.empty()) return;
    bytes_ += piece.size();
    feeds_ += static_cast<uint64_t>(std::ranges::count(piece, '\n'));
    endsInFeed_ = piece.ends_with('\n');
}

uint64_t PartCutter::unitsThatCame() const {
    return part_.unit == Unit::bytes ? bytes_ : feeds_ + (endsInFeed_ ? 0 : 1);
}

std::optional<uint64_t> PartCutter::toSkip() const {
    if (!isTooMuch_) return std::nullopt;
    return unitsThatCame() - std::min(part_.count, unitsThatCame());
}

bool PartCutter::fits() const {
    return part_.end == End::last || !range_ || range_->first == 0;
}

bool PartCutter::isDone() const {
    return part_.end == End::first && done_ == part_.count;
}

std::optional<size_t> PartCutter::startOfLast() const {
    if (part_.unit == Unit::bytes) {
        if (kept_.size() < part_.count) return std::nullopt;
        return kept_.size() - part_.count;
    }
    if (part_.count == 0) return kept_.size();
    size_t behind = kept_.size() - (kept_.ends_with('\n') ? 1 : 0);
    for (uint64_t left = part_.count; behind > 0; --left) {
        const size_t feed = kept_.rfind('\n', behind - 1);
        if (feed == kept_.npos) return std::nullopt;
        if (left == 1) return feed + 1;
        behind = feed;
    }
    return std::nullopt;
}

void PartCutter::forgetUnwanted() {
    kept_.erase(0, startOfLast().value_or(0));
    mostKept_ = std::max(leastKept, 2 * kept_.size());
    isTooMuch_ = kept_.size() > mostKept;
    if (isTooMuch_) kept_ = {};
}

std::string_view PartCutter::rest() {
    if (!keeps()) return {};
    return std::string_view(kept_).substr(startOfLast().value_or(0));
}

bool PartCutter::isWhole(uint64_t came) const {
    if (!range_ || !range_->whole) return true;
    const uint64_t whole = *range_->whole;
    if (part_.end == End::last) return range_->first + came == whole;
    return came >= std::min(part_.count, whole);
}

bool PartCutter::beganTooLate() {
    if (!keeps() || firstByte() == 0) return false;
    return isTooMuch_ ? unitsThatCame() <= part_.count : !startOfLast();
}

std::string rangeOf(const ContentPart& part, uint64_t bytesForLines) {
    if (part.count == 0) return {};
    const bool isBytes = part.unit == Unit::bytes;
    if (part.end == End::last) {
        return fmt::format("bytes=-{}", isBytes ? part.count : bytesForLines);
    }
    return isBytes ? fmt::format("bytes=0-{}", part.count - 1) : std::string();
}

}  // namespace quillon::cli
