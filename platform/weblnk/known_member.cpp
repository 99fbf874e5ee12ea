#include "platform/weblnk/known_member.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "host/weblnk.h"
#include "platform/base/ascii.hpp"
#include "platform/text/date.hpp"

namespace vxhost {
namespace {

using Seconds = std::chrono::duration<double>;

// A clock and a file system may each be a second off.
constexpr Seconds racyAfterChange{2};

template <class Value>
Verdict same(const Value& noted, const Value& found) {
    return noted == found ? Verdict::unchanged : Verdict::changed;
}

void fillOpen(MemberState& state, const MemberState& more) {
    if (state.tag.text.empty()) state.tag = more.tag;
    if (!state.size) state.size = more.size;
    if (!state.modified) state.modified = more.modified;
}

}  // namespace

MemberState MemberState::missing() {
    MemberState state;
    state.exists = false;
    return state;
}

std::optional<double> parseHttpDate(std::string_view value) {
    return parseDate(std::u32string(value.begin(), value.end()));
}

MemberState parseMemberState(const Headers& headers) {
    MemberState state;
    state.modified = parseHttpDate(headers.first("Last-Modified"));
    if (isCoded(headers)) return state;
    state.tag = parseEntityTag(headers.first("ETag"));
    state.size = parseNumber<uint64_t>(headers.first("Content-Length"));
    if (state.size == 0) state.size.reset();  // as some servers say of every HEAD
    return state;
}

Verdict compareStates(const MemberState& noted, const MemberState& found) {
    if (!found.exists) return noted.exists ? Verdict::gone : Verdict::unchanged;
    if (!noted.exists) return Verdict::changed;
    if (noted.size && found.size && noted.size != found.size) return Verdict::changed;
    if (!noted.tag.text.empty() && !found.tag.text.empty()) {
        return same(noted.tag.text, found.tag.text);
    }
    if (!noted.modified || !found.modified) return Verdict::unknown;
    return same(std::floor(*noted.modified), std::floor(*found.modified));
}

std::optional<Seconds> racyTime(std::optional<double> modified, std::optional<double> date) {
    if (!modified || !date) return racyAfterChange;
    const Seconds left = racyAfterChange - Seconds(*date - *modified);
    if (left <= Seconds::zero()) return {};
    return std::min(left, racyAfterChange);
}

void KnownMember::forgetLooks() {
    head_.reset();
    properties_.reset();
    noting_ = false;
}

void KnownMember::noteFetched(MemberState state, std::optional<double> date,
                              const ContentDigest& content, Clock::time_point now) {
    Note note{std::move(state), true, false, content, {}};
    if (const auto left = racyTime(note.state.modified, date)) {
        note.racyUntil = now + std::chrono::ceil<Clock::duration>(*left);
    }
    note_ = std::move(note);
    refused_ = false;
    forgetLooks();
}

void KnownMember::noteStored(EntityTag tag) {
    note_.reset();
    if (!tag.text.empty()) {
        MemberState stored;
        stored.tag = std::move(tag);
        note_ = Note{std::move(stored), true, false, {}, {}};
    }
    refused_ = lockMade_ = false;
    forgetLooks();
}

void KnownMember::noteLock(bool again, bool made) {
    lockMade_ = made;
    forgetLooks();
    if (again) return;
    refused_ = false;
    if (note_ && !note_->ours) note_.reset();
}

void KnownMember::notePutRefused() {
    refused_ = true;
    forgetLooks();
}

void KnownMember::noteHead(const MemberState& found, bool underLock) {
    forgetLooks();
    head_ = found;
    noting_ = underLock && !note_;
    if (noting_) note_ = Note{found, false, lockMade_, {}, {}};
}

void KnownMember::noteProperties(const MemberState& found) {
    properties_ = found;
    const bool both = head_ && !head_->tag.text.empty() && !found.tag.text.empty();
    if (both && (noting_ || !note_)) twoTags_ = head_->tag.text != found.tag.text;
    if (noting_) fillOpen(note_->state, found);
    noting_ = false;
}

Verdict KnownMember::judge(MemberState found, bool underLock) const {
    // An empty member is what a LOCK on a free name makes on some servers; it is nobody's work.
    const bool empty = found.size ? *found.size == 0 : lockMade_;
    if (underLock && empty && (lockMade_ || !note_->state.exists)) found.exists = false;
    return compareStates(note_->state, found);
}

Verdict KnownMember::verdict(bool underLock) const {
    Verdict worst = Verdict::unknown;
    if (head_) {
        MemberState head = *head_;
        if (properties_ && properties_->size) head.size = properties_->size;
        worst = judge(std::move(head), underLock);
    }
    if (properties_) {
        MemberState properties = *properties_;
        if (twoTags_) properties.tag = {};
        worst = std::max(worst, judge(std::move(properties), underLock));
    }
    return worst;
}

PutStep KnownMember::nextStep(bool underLock, uint32_t flags) const {
    if (!underLock && (flags & vx::PUT_ONLY_NEW)) {
        return head_ && head_->exists ? PutStep::refuse : PutStep::send;
    }
    const bool judged = underLock ? refused_ : (flags & vx::PUT_IF_UNCHANGED) != 0;
    if (!judged || !note_) return PutStep::send;
    const Verdict now = verdict(underLock);
    if (now == Verdict::changed) return PutStep::refuse;
    return now != Verdict::gone && note_->racyUntil ? PutStep::compareContent : PutStep::send;
}

EntityTag KnownMember::latestTag() const {
    if (head_) return head_->tag;
    return note_ && !note_->racyUntil ? note_->state.tag : EntityTag();
}

std::optional<EntityTag> KnownMember::usableTag(bool underLock) const {
    const bool told = note_ && !note_->state.tag.text.empty();
    if (!told) return {};
    // What the LOCK itself made counts as no member, but nothing else may have come in its place.
    // Not every server compares the tag of such a thing, so that it goes into the first PUT alone.
    const bool goes = note_->isMade ? !refused_ : verdict(underLock) != Verdict::gone;
    if (!goes) return {};
    return note_->state.tag;
}

std::optional<EntityTag> KnownMember::tagForLock() const {
    auto tag = usableTag(true);
    if (tag && (twoTags_ || (tag->weak && refused_))) tag.reset();
    return tag;
}

std::optional<EntityTag> KnownMember::tagForMatch(bool underLock) const {
    auto tag = usableTag(underLock);
    if (tag && (tag->weak || !note_->ours)) tag.reset();
    return tag;
}

}  // namespace vxhost
