#include "client/tree/compare.hpp"

#include <algorithm>
#include <chrono>
#include <string>

#include "client/remote/conditions.hpp"

namespace quillon {
namespace {

using std::chrono::nanoseconds;
using Seconds = std::chrono::duration<double>;

// The dates of servers are of whole seconds, and so is their beginning of one.
constexpr double grain = 2;

double secondsOf(int64_t sinceEpochNs) {
    return Seconds(nanoseconds(sinceEpochNs)).count();
}

double secondsOf(Time time) {
    return Seconds(time.time_since_epoch()).count();
}

// A file that was fetched has the server's date to the second.
bool hasItsDate(const LocalEntry& here, const Resource& there) {
    if (!there.modified) return false;
    const auto whole = std::chrono::floor<std::chrono::seconds>(nanoseconds(here.modifiedNs));
    return whole == std::chrono::floor<std::chrono::seconds>(there.modified->time_since_epoch());
}

bool isSameSize(const LocalEntry& here, const Resource& there) {
    return there.size && *there.size == here.size;
}

// It was stored there after it was last changed here, or has the very date.
bool isStoredSince(const LocalEntry& here, const Resource& there, const ServerClock& clock) {
    if (!there.modified) return false;
    if (clock.datesKept) return hasItsDate(here, there);
    const double latest = secondsOf(std::max(here.modifiedNs, here.changedNs));
    return secondsOf(*there.modified) - clock.skewSeconds >= latest + grain;
}

bool isNear(Time a, Time b) {
    return std::chrono::abs(a - b) <= std::chrono::duration<double>(grain);
}

}  // namespace

Likeness compareWithNote(const Resource& there, const FileNote& note) {
    const std::string tag = speltTag(there.tag);
    const bool tagged = !note.tag.empty() && !tag.empty();
    const bool isOtherSize = there.size && *there.size != note.size;
    // A server that stores something else than it is sent tells the size of that.
    if (tagged && !there.tag.weak && note.tag == tag) return Likeness::same;
    if (isOtherSize) return Likeness::other;
    if (tagged) return isSameTag(note.tag, tag) ? Likeness::same : Likeness::other;
    if (!note.serverDate || !there.modified) return Likeness::unknown;
    const bool noTags = note.tag.empty() && tag.empty();
    if (noTags && *note.serverDate == *there.modified) return Likeness::same;
    return isNear(*note.serverDate, *there.modified) ? Likeness::likely : Likeness::unknown;
}

Step chooseDown(const Resource& there, const std::optional<LocalEntry>& here, NoteOf note,
                std::optional<bool> unchangedHere, const CompareOptions& options) {
    if (!here) return Step::transfer;
    if (here->kind != LocalKind::file) return Step::clash;
    if (note == nullptr) {
        const bool looksSame = isSameSize(*here, there) && hasItsDate(*here, there);
        const bool proves = looksSame && !options.checksum && !options.all;
        return proves ? Step::none : Step::transfer;
    }
    if (!unchangedHere) return Step::compareContent;
    if (!*unchangedHere) return options.force ? Step::transfer : Step::keep;
    const Likeness other = compareWithNote(there, *note);
    const bool isSame = other == Likeness::same || other == Likeness::likely;
    return isSame && !options.all && !options.checksum ? Step::none : Step::transfer;
}

Step chooseUp(const LocalEntry& here, const std::optional<Resource>& there, NoteOf note,
              std::optional<bool> unchangedHere, const ServerClock& clock,
              const CompareOptions& options) {
    if (!there) return Step::transfer;
    if (there->isCollection) return Step::clash;
    if (options.all && options.force) return Step::transfer;
    if (note == nullptr) {
        const bool looksSame = isSameSize(here, *there) && isStoredSince(here, *there, clock);
        if (looksSame && !options.checksum && !options.all) return Step::none;
        return options.checksum && !options.all ? Step::compareContent : Step::transfer;
    }
    if (!unchangedHere) return Step::compareContent;
    const Likeness other = compareWithNote(*there, *note);
    const bool isSame = other == Likeness::same || other == Likeness::likely;
    if (*unchangedHere && isSame && !options.all && !options.checksum) return Step::none;
    if (other == Likeness::same && !options.checksum) return Step::transfer;
    // Somebody may have stored something since, or the very content that is here.
    return options.force ? Step::transfer : Step::compareContent;
}

Sameness compareSides(const LocalEntry& here, const Resource& there, NoteOf note,
                      std::optional<bool> unchangedHere, const ServerClock& clock) {
    if (there.size && *there.size != here.size) return Sameness::other;
    if (note == nullptr) {
        const bool isDated = hasItsDate(here, there) || isStoredSince(here, there, clock);
        return isSameSize(here, there) && isDated ? Sameness::same : Sameness::unsure;
    }
    if (!unchangedHere) return Sameness::unsure;
    const Likeness other = compareWithNote(there, *note);
    if (*unchangedHere) {
        const bool isSame = other == Likeness::same || other == Likeness::likely;
        return isSame ? Sameness::same : Sameness::unsure;  // a tag may change without the content
    }
    return other == Likeness::same ? Sameness::other : Sameness::unsure;
}

}  // namespace quillon
