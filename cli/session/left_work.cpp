#include "cli/session/left_work.hpp"

#include <fmt/format.h>

#include <utility>

#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "client/left_caches.hpp"

namespace quillon::cli {
namespace {

void tellNote(const LockNote& note) {
    if (!note.text.empty()) {
        complain(
            fmt::format("{}: what you wrote and quillon did not store is in {}; move it or "
                        "delete it, and this is not told again",
                        note.url, note.text.string()));
    }
    if (!note.token.empty()) {
        complain(fmt::format("{}: a lock that quillon could not give back may still be there. {}",
                             note.url, unlockAdvice("To unlock it", note.url, note.token)));
    }
}

}  // namespace

std::vector<FoundNote>& LeftWork::notes() {
    if (!notes_) {
        files_ = removeLeftCaches();
        Result<std::vector<FoundNote>> found = findLeftNotes();
        if (!found) report("look for what was left behind", {}, found.error());
        notes_ = found ? std::move(*found) : std::vector<FoundNote>();
        for (const FoundNote& each : *notes_) std::erase(files_, each.note.text);
    }
    return *notes_;
}

void LeftWork::tell(const std::string& url) {
    const std::lock_guard lock(mutex_);
    if (notes().empty() || !told_.insert(url).second) return;
    for (const FoundNote& found : notes()) {
        if (found.note.url == url) tellNote(found.note);
    }
}

void LeftWork::tellAll() {
    const std::lock_guard lock(mutex_);
    // A member may have several notes, so its URL counts as told only after the last of them.
    std::set<std::string> urls;
    for (const FoundNote& found : notes()) {
        if (!told_.contains(found.note.url)) tellNote(found.note);
        urls.insert(found.note.url);
    }
    told_.merge(urls);
    for (const std::filesystem::path& file : std::exchange(files_, {})) {
        complain(
            fmt::format("a quillon that was killed left {}; move it or delete it, and this is "
                        "not told again",
                        file.string()));
    }
}

void LeftWork::clearPlace(const std::filesystem::path& place) {
    const std::lock_guard lock(mutex_);
    if (cleared_.insert(place).second) removeLeftFetches(place);
}

void LeftWork::markTold(const std::string& url) {
    const std::lock_guard lock(mutex_);
    told_.insert(url);
}

void LeftWork::noteLockOff(const std::string& url, std::string_view token) {
    const std::lock_guard lock(mutex_);
    for (FoundNote& found : notes()) {
        if (found.note.url != url || found.note.token != token) continue;
        forgetLock(found);
        found.note.token.clear();
    }
}

void LeftWork::noteLockTaken(const std::string& url) {
    const std::lock_guard lock(mutex_);
    for (FoundNote& found : notes()) {
        if (found.note.url != url || found.note.token.empty()) continue;
        forgetLock(found);
        found.note.token.clear();
    }
}

}  // namespace quillon::cli
