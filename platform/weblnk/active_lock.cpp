#include "platform/weblnk/active_lock.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "platform/base/journal.hpp"
#include "platform/base/own_locks.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/weblnk/properties.hpp"

namespace vxhost {
namespace {

// The text of an element and of all that it holds. The document's depth is limited.
void appendText(std::u32string& to, const vx::Node* parent) {
    for (const vx::Node* child = parent->firstChild; child; child = child->nextSibling) {
        if (child->nodeType == vx::NODE_ELEMENT) {
            appendText(to, child);
        } else {
            to += textOf(*child);
        }
    }
}

std::string wholeText(const vx::Node* element) {
    std::u32string text;
    if (element) appendText(text, element);
    return singleBlanks(shownUtf8(text));
}

ActiveLock readLock(const vx::Node* activeLock) {
    const vx::Node* token = childElement(activeLock, U"locktoken");
    return {wholeText(childElement(token, U"href")), wholeText(childElement(activeLock, U"owner")),
            parseTimeout(wholeText(childElement(activeLock, U"timeout")))};
}

void collect(std::vector<ActiveLock>& locks, const vx::Node* parent) {
    for (const vx::Node* child = parent->firstChild; child; child = child->nextSibling) {
        if (isElement(child, U"activelock")) {
            locks.push_back(readLock(child));
        } else if (child->nodeType == vx::NODE_ELEMENT) {
            collect(locks, child);
        }
    }
}

std::string until(const ActiveLock& lock) {
    if (!lock.timeout) return {};
    if (*lock.timeout == vx::LOCK_TIMEOUT_INFINITE) return ", until it is given back";
    const std::time_t end = std::time(nullptr) + static_cast<std::time_t>(*lock.timeout);
    std::tm local{};
    if (!localtime_r(&end, &local)) return {};
    return fmt::format(", until {:%Y-%m-%d %H:%M:%S} unless it is renewed", local);
}

// Whether the lock is one that the program knows for the person's own.
bool tellIfOwn(const Target& target, const ActiveLock& lock) {
    OwnLocks* known = target.settings.ownLocks;
    const std::string own = known ? known->explain(target.url, lock.token) : std::string();
    if (own.empty() || !target.settings.strayLock) return false;
    target.settings.strayLock({target.url, lock.token, false, own});
    return true;
}

// A program that was killed cannot give its lock back: the person who has its name may.
void tellIfLeftOver(const Target& target, const ActiveLock& lock) {
    const char* user = target.credentials->user.get();
    if (user == nullptr || lock.token.empty() || !lock.owner.ends_with(user)) return;
    if (target.settings.strayLock) target.settings.strayLock({target.url, lock.token, false});
}

}  // namespace

std::string singleBlanks(std::string_view text) {
    std::string words;
    for (const char c : text) {
        const bool blank = static_cast<unsigned char>(c) <= ' ';
        if (!blank) words += c;
        if (blank && !words.empty() && words.back() != ' ') words += ' ';
    }
    if (words.ends_with(' ')) words.pop_back();
    return words;
}

std::string holderName(std::string_view owner) {
    constexpr std::string_view ours = "ZEB DATADIR. User =";  // its blanks are single here
    const bool isOurs = owner.starts_with(ours);
    std::string name = singleBlanks(isOurs ? owner.substr(ours.size()) : owner);
    if (name.empty()) name = "someone";
    return isOurs ? name + ", with quillon" : name;
}

std::vector<ActiveLock> parseActiveLocks(std::string_view xml) {
    std::vector<ActiveLock> locks;
    try {
        TreeBuilder builder;
        builder.feed(xml);
        const auto document = builder.finish();
        if (document->firstChild) collect(locks, document->firstChild);
    } catch (const Failure&) {  // an HTML page, most often
    }
    return locks;
}

std::string holderSentence(const std::string& url, const ActiveLock& lock) {
    return fmt::format("{}: locked by {}{}.", url, holderName(lock.owner), until(lock));
}

bool saysNoLock(int32_t refusal) {
    return refusal == 400 || refusal == 404 || refusal == 409 || refusal == 412;
}

bool refusesToken(int32_t refusal) {
    return saysNoLock(refusal) || refusal == 403 || refusal == 423;
}

bool saysFailure(int32_t refusal) {
    return (refusal >= 500 && refusal != 501) || refusal == 408 || refusal == 429;
}

bool mayStillBeThere(const PropertyAnswer& told, const std::string& token, int32_t refusal) {
    const bool otherwise = !saysNoLock(refusal);
    if (told.multistatus.empty()) return otherwise && told.status != 404;
    const auto locks = parseActiveLocks(told.multistatus);
    if (locks.empty() && !tellsProperty(told.multistatus, U"lockdiscovery")) return otherwise;
    return std::any_of(locks.begin(), locks.end(), [&](const ActiveLock& active) {
        return active.token.empty() ? otherwise : active.token == token;
    });
}

bool tellsOfNoLock(const PropertyAnswer& told) {
    if (told.status == 404) return true;
    try {
        return !told.multistatus.empty() && parseActiveLocks(told.multistatus).empty() &&
               tellsProperty(told.multistatus, U"lockdiscovery");
    } catch (const Failure&) {  // no XML
        return false;
    }
}

bool tellHolder(const Target& target, vx::Journal* journal, const Answer& refusal) noexcept {
    bool mayBeLocked = true;
    guarded(WEBLNK_BAD_ANSWER, [&]() -> Status {
        auto locks = parseActiveLocks(refusal.text);
        if (locks.empty()) {
            const PropertyAnswer told = askProperty(target, "lockdiscovery");
            mayBeLocked = !tellsOfNoLock(told);
            locks = parseActiveLocks(told.multistatus);
        }
        for (const auto& lock : locks) {
            journalSentence(journal, vx::JOURNAL_FAILURE, holderSentence(target.url, lock));
            if (!tellIfOwn(target, lock)) tellIfLeftOver(target, lock);
        }
        return vx::VX_SUCCESS;
    });
    return mayBeLocked;
}

void tellHolderOfMember(const Target& target, vx::Journal* journal,
                        const Answer& refusal) noexcept {
    if (tellHolder(target, journal, refusal) || !target.settings.strayLock) return;
    guarded(WEBLNK_BAD_ANSWER, [&]() -> Status {
        target.settings.strayLock({target.url, {}, false, lockedWithoutLock});
        return vx::VX_SUCCESS;
    });
}

}  // namespace vxhost
