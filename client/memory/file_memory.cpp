#include "client/memory/file_memory.hpp"

#include <sys/xattr.h>

#include <algorithm>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "platform/base/logger.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr const char* attribute = "user.quillon.origin";
constexpr size_t mostBytes = 16384;  // of an attribute
constexpr size_t mostWaiting = 512;  // notes
constexpr size_t mostLogged = 8;     // notes of one command

fs::path resolve(const fs::path& whole) {
    std::error_code problem;
    fs::path resolved = fs::weakly_canonical(whole, problem);
    return problem ? whole : resolved;
}

std::optional<FileNote> readAttribute(const fs::path& file) {
    std::string text(mostBytes, '\0');
    const ssize_t size = getxattr(file.c_str(), attribute, text.data(), text.size());
    if (size < 0) return std::nullopt;
    return parseNote(std::string_view(text).substr(0, static_cast<size_t>(size)));
}

}  // namespace

// Of many in one folder, that is resolved once.
fs::path FileMemory::keyOf(const fs::path& file) {
    std::error_code none;
    const std::string_view text = file.native();
    const size_t behind = text.rfind('/') + 1;
    const std::string_view name = text.substr(behind);
    if (name.empty() || name == "." || name == ".." || fs::is_symlink(file, none)) {
        return resolve(fs::absolute(file));
    }
    if (folder_ != text.substr(0, behind)) {
        folder_ = text.substr(0, behind);
        resolvedFolder_ = resolve(folder_->empty() ? fs::current_path() : fs::absolute(*folder_));
    }
    return resolvedFolder_ / name;
}

template <class Body>
void FileMemory::attempt(Body&& body) {
    try {
        body();
    } catch (const std::exception& problem) {
        tellNotRemembered(problem);
    }
}

void FileMemory::tellNotRemembered(const std::exception& problem) {
    if (std::exchange(toldOnce_, true)) return;
    vxhost::logLine(vxhost::findLogger(U"App.WebDAV.quillon"), vx::LOG_FAILURE,
                    std::string("Not remembered: ") + problem.what());
}

std::optional<FileNote> FileMemory::find(const fs::path& file) {
    const std::lock_guard lock(mutex_);
    std::optional<FileNote> note = readAttribute(file);
    if (note) return note;
    attempt([&] { flushLocked(); });
    // One of the two places may not be usable, and the other one have it.
    std::optional<LoggedNotes> logged = readLog();
    attempt([&] {
        const fs::path key = keyOf(file);
        if (const auto* found = logged ? logged->find(key) : nullptr) {
            note = *found;
            return;
        }
        useStore(NoteStore::Missing::left, std::move(logged),
                 [&](const NoteStore& store) { note = store.find(key); });
    });
    return note;
}

void FileMemory::keep(const fs::path& file, const vxhost::Descriptor& open, const FileNote& note) {
    const std::lock_guard lock(mutex_);
    if (!isValid(note)) return;
    const std::string text = textOf(note);
    attempt([&] {
        if (fsetxattr(open.number(), attribute, text.data(), text.size(), 0) != 0) {
            const int error = errno;
            // An older one would speak for this content.
            fremovexattr(open.number(), attribute);
            vxhost::throwSystemFailure(error, file.string() + " has no extended attributes");
        }
    });
    add({keyOf(file), note});
}

void FileMemory::forget(const fs::path& file) {
    const std::lock_guard lock(mutex_);
    add({keyOf(file), std::nullopt});
}

void FileMemory::add(NoteStore::Change change) {
    waiting_.push_back(std::move(change));
    if (waiting_.size() >= mostWaiting) attempt([this] { flushLocked(); });
}

void FileMemory::flush() {
    const std::lock_guard lock(mutex_);
    attempt([this] { flushLocked(); });
}

void FileMemory::flushLocked() {
    if (waiting_.empty()) return;
    auto changes = std::exchange(waiting_, {});
    const bool isFew = !store_ && changes.size() <= mostLogged;
    bool isLogged = false;
    if (isFew) attempt([&] { isLogged = logNotes(changes); });
    if (isLogged) return;
    // In the order of the store's own pages, and of two of one path in their own.
    std::ranges::stable_sort(
        changes, {},
        [](const NoteStore::Change& change) -> const auto& { return change.first.native(); });
    useStore(NoteStore::Missing::made, readLog(), [&](NoteStore& store) { store.write(changes); });
}

std::optional<LoggedNotes> FileMemory::readLog() {
    std::optional<LoggedNotes> logged;
    attempt([&] { logged = LoggedNotes::read(); });
    return logged;
}

NoteStore* FileMemory::openLocked(NoteStore::Missing missing, std::optional<LoggedNotes>& logged) {
    if (!store_) store_ = NoteStore::open(logged ? NoteStore::Missing::made : missing);
    if (logged) {
        try {
            if (!logged->changes().empty()) store_->write(logged->changes());
            logged->clear();
            logged.reset();
        } catch (const DamagedDatabase&) {
            throw;
        } catch (const std::exception& problem) {
            tellNotRemembered(problem);
        }
    }
    return store_ ? &*store_ : nullptr;
}

template <class Use>
void FileMemory::useStore(NoteStore::Missing missing, std::optional<LoggedNotes> logged,
                          Use&& use) {
    const auto tryTo = [&] {
        if (NoteStore* store = openLocked(missing, logged)) use(*store);
    };
    try {
        tryTo();
    } catch (const DamagedDatabase&) {
        store_.reset();
        replaceDamaged();
        tryTo();
    }
}

// Another process that found it so has told of it.
void FileMemory::replaceDamaged() {
    std::string became;
    try {
        const auto aside = setAsideDamaged(NoteStore::path());
        if (!aside) return;
        became = "are kept as " + aside->string();
    } catch (const std::exception& problem) {
        became = std::string("cannot be set aside: ") + problem.what();
    }
    const Tell tell = std::exchange(tellDamage_, nullptr);
    if (!tell) return;
    tell("the notes of files in " + NoteStore::path().string() + " are damaged, and " + became +
         ". Files that were fetched or stored before may not be known any more, so look at both "
         "sides before one goes over the other");
}

void FileMemory::forEachBelow(
    const fs::path& folder,
    const std::function<void(const fs::path& file, const FileNote&)>& take) {
    const std::lock_guard lock(mutex_);
    attempt([&] {
        flushLocked();
        useStore(NoteStore::Missing::left, readLog(),
                 [&](const NoteStore& store) { store.forEachBelow(keyOf(folder), take); });
    });
}

}  // namespace quillon
