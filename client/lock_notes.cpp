#include "client/lock_notes.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "client/outcome.hpp"
#include "client/own_file.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr size_t MOST_BYTES = size_t{1} << 20;
constexpr std::string_view URL = "url ", TOKEN = "token ", OWNER = "owner ", PROCESS = "process ",
                           KIND = "kind ", TIMEOUT = "timeout ", TEXT = "text ";
constexpr std::string_view KEPT = "kept";  // a kind; others are a change's

fs::path notesDirectory() {
    return stateDirectory() / "locks";
}

// Who can change one of the two directories can put other notes in the place of ours.
void checkNotesDirectory() {
    vxhost::checkOwnDirectory(stateDirectory());
    vxhost::checkOwnDirectory(notesDirectory());
}

// The text's path is the last line and goes to the end: a file's name may hold a line break.
std::string contentOf(const LockNote& note) {
    const std::string timeout = note.timeout ? std::to_string(*note.timeout) : "";
    return fmt::format("{}{}\n{}{}\n{}{}\n{}{}\n{}{}\n{}{}\n{}{}", URL, note.url, TOKEN, note.token,
                       OWNER, note.owner, PROCESS, note.process, KIND,
                       note.kind == LockKind::kept ? KEPT : "change", TIMEOUT, timeout, TEXT,
                       note.text.string());
}

// Lines that a later version may add are passed over.
std::optional<LockNote> parseLockNote(std::string_view content) {
    LockNote note;
    while (!content.empty()) {
        if (content.starts_with(TEXT)) {
            note.text = content.substr(TEXT.size());
            break;
        }
        const size_t end = std::min(content.find('\n'), content.size());
        const std::string_view line = content.substr(0, end);
        if (line.starts_with(URL)) note.url = line.substr(URL.size());
        if (line.starts_with(TOKEN)) note.token = line.substr(TOKEN.size());
        if (line.starts_with(OWNER)) note.owner = line.substr(OWNER.size());
        if (line == std::string(KIND).append(KEPT)) note.kind = LockKind::kept;
        if (line.starts_with(PROCESS)) {
            std::from_chars(line.data() + PROCESS.size(), line.data() + line.size(), note.process);
        }
        uint32_t timeout = 0;
        if (line.starts_with(TIMEOUT) &&
            std::from_chars(line.data() + TIMEOUT.size(), line.data() + line.size(), timeout).ec ==
                std::errc()) {
            note.timeout = timeout;
        }
        content.remove_prefix(std::min(end + 1, content.size()));
    }
    return note.url.empty() ? std::nullopt : std::optional(std::move(note));
}

// Nothing for what is no note. A living process holds a lock on its file.
std::optional<FoundNote> readLockNote(const fs::path& path) {
    try {
        const vxhost::Descriptor file(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
        struct stat entry {};
        const bool own = fstat(file.number(), &entry) == 0 && S_ISREG(entry.st_mode) &&
                         entry.st_uid == geteuid() && (entry.st_mode & 022) == 0;
        if (!own) return std::nullopt;
        const bool isAlive = flock(file.number(), LOCK_SH | LOCK_NB) != 0;
        std::optional<LockNote> note = parseLockNote(vxhost::readWhole(file, path, MOST_BYTES));
        if (!note) return std::nullopt;
        FoundNote found{std::move(*note), path, isAlive};
        // The file is as old as the last renewal.
        if (found.note.timeout) {
            found.end = Time(std::chrono::seconds(entry.st_mtim.tv_sec)) +
                        std::chrono::seconds(*found.note.timeout);
        }
        return found;
    } catch (const vxhost::Failure&) {  // removed meanwhile
        return std::nullopt;
    }
}

bool isLeft(const fs::path& text) {
    struct stat entry {};
    return !text.empty() && lstat(text.c_str(), &entry) == 0;
}

bool mayBeLocked(const LockNote& note) {
    return !note.token.empty() || !note.owner.empty();
}

void removeFile(const fs::path& path) {
    std::error_code none;
    fs::remove(path, none);
}

// A lock is noted when it is granted, and again with the text that is written under it.
void removeBareDoubles(std::vector<FoundNote>& found) {
    std::erase_if(found, [&](const FoundNote& bare) {
        const bool isDouble =
            !bare.isAlive && bare.note.text.empty() && bare.note.kind == LockKind::change &&
            std::ranges::any_of(found, [&](const FoundNote& other) {
                return !other.note.text.empty() && other.note.url == bare.note.url &&
                       other.note.token == bare.note.token;
            });
        if (isDouble) removeFile(bare.file);
        return isDouble;
    });
}

}  // namespace

// The open file holds the lock that tells the others of a living process. A program that we start
// does not inherit it.
struct WrittenNote::File {
    explicit File(const LockNote& whole)
        : note(whole), path(notesDirectory() / vxhost::randomName()) {
        vxhost::makePrivateDirectories(path.parent_path());
        checkNotesDirectory();
        vxhost::CompleteFile complete(path, contentOf(note));
        if (flock(complete.file().number(), LOCK_EX | LOCK_NB) != 0) {
            vxhost::throwSystemFailure(errno, "Cannot lock " + path.string());
        }
        // There may be thousands of bare ones in a run, each gone in a moment.
        if (note.text.empty()) {
            complete.becomeDestinationUnstored();
        } else {
            complete.becomeDestination();
        }
        held = complete.takeFile();
    }
    const LockNote note;
    const fs::path path;
    std::optional<vxhost::Descriptor> held;
};

Result<WrittenNote> WrittenNote::write(const LockNote& note) {
    return caught(
        [&]() -> Result<WrittenNote> { return WrittenNote(std::make_unique<File>(note)); });
}

WrittenNote::WrittenNote(std::unique_ptr<File> file) : file_(std::move(file)) {}

WrittenNote::WrittenNote(WrittenNote&&) noexcept = default;

WrittenNote::~WrittenNote() {
    if (file_ != nullptr) removeFile(file_->path);
}

void WrittenNote::leave() {
    file_.reset();
}

void WrittenNote::leaveText() {
    forgetLock({file_->note, file_->path});
    leave();
}

Result<std::vector<FoundNote>> findAllNotes() {
    Result<void> own = caught([]() -> Result<void> {
        checkNotesDirectory();
        return {};
    });
    if (!own) return std::move(own).error();
    std::vector<FoundNote> all;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(notesDirectory(), none)) {
        if (entry.path().filename().native().starts_with('.')) continue;  // is being written
        std::optional<FoundNote> found = readLockNote(entry.path());
        if (!found) continue;
        const bool hasText = isLeft(found->note.text);
        if (!found->isAlive && !mayBeLocked(found->note) && !hasText) {
            removeFile(entry.path());
        } else {
            if (!hasText) found->note.text.clear();
            all.push_back(std::move(*found));
        }
    }
    removeBareDoubles(all);
    return all;
}

void addNewNotes(std::vector<FoundNote>& known) {
    const Result<void> own = caught([]() -> Result<void> {
        checkNotesDirectory();
        return {};
    });
    if (!own) return;
    std::set<fs::path> files;
    for (const FoundNote& each : known) files.insert(each.file);
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(notesDirectory(), none)) {
        const bool isNew =
            !entry.path().filename().native().starts_with('.') && !files.contains(entry.path());
        std::optional<FoundNote> found = isNew ? readLockNote(entry.path()) : std::nullopt;
        if (found) known.push_back(std::move(*found));
    }
}

std::optional<FoundNote> lookAgain(const FoundNote& found) {
    return readLockNote(found.file);
}

// Who reads the notes locks each for a moment.
std::shared_ptr<void> useNote(const FoundNote& found) {
    constexpr int tries = 20;
    constexpr std::chrono::milliseconds moment{1};
    try {
        auto file =
            std::make_shared<vxhost::Descriptor>(found.file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
        for (int i = 0; i < tries; ++i) {
            if (flock(file->number(), LOCK_EX | LOCK_NB) == 0) return file;
            std::this_thread::sleep_for(moment);
        }
    } catch (const vxhost::Failure&) {  // removed meanwhile
    }
    return nullptr;
}

void noteRenewed(const FoundNote& found) {
    (void)utimensat(AT_FDCWD, found.file.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
}

void forgetLock(const FoundNote& found) {
    if (!isLeft(found.note.text)) return removeFile(found.file);
    LockNote rest = found.note;
    rest.token.clear();
    rest.owner.clear();
    (void)replaceOwnFile(found.file, contentOf(rest));
}

}  // namespace quillon
