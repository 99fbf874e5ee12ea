#include "client/part_file.hpp"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <system_error>
#include <utility>

#include "client/own_file.hpp"
#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds longestStay = std::chrono::days(7);

fs::path notesDirectory() {
    return stateDirectory() / "parts";
}

// A note: the part's size and time, the member's tag and URL, the part's path to the end.
struct Note {
    uint64_t size = 0;
    int64_t time = 0;  // of the last change, in seconds since 1970
    std::string tag, url;
    fs::path part;
};

std::string_view takeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    const auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

template <class Number>
Number numberOf(std::string_view text) {
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::optional<Note> readNote(const fs::path& path) {
    const auto own = readOwnFile(path);
    if (!own || !*own) return std::nullopt;
    std::string_view text = (*own)->text;
    Note note;
    note.size = numberOf<uint64_t>(takeLine(text));
    note.time = numberOf<int64_t>(takeLine(text));
    note.tag = takeLine(text);
    note.url = takeLine(text);
    note.part = text;
    return note;
}

// As it was left: nobody else could change it, and nobody did.
bool isUntouched(const Note& note) {
    struct stat entry {};
    return lstat(note.part.c_str(), &entry) == 0 && S_ISREG(entry.st_mode) &&
           entry.st_uid == geteuid() && (entry.st_mode & 077) == 0 &&
           static_cast<uint64_t>(entry.st_size) == note.size && entry.st_mtime == note.time;
}

bool isOld(const Note& note) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return now - std::chrono::seconds(note.time) > longestStay;
}

void removeFile(const fs::path& path) {
    std::error_code none;
    fs::remove(path, none);
}

// A note tells a path: a file there that is not what was left is somebody's.
void removeOldParts() {
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(notesDirectory(), none)) {
        const auto note = readNote(entry.path());
        if (!note || !isOld(*note)) continue;
        if (isUntouched(*note)) removeFile(note->part);
        removeFile(entry.path());
    }
}

}  // namespace

PartFile::PartFile(std::string url, const fs::path& destination) : url_(std::move(url)) {
    std::error_code none;
    const fs::path whole = fs::absolute(destination, none).lexically_normal();
    const std::string name = vxhost::digestName(url_ + '\n' + whole.string());
    path_ = whole.parent_path() / (vxhost::hiddenPrefix + ("part-" + name));
    note_ = notesDirectory() / name;
}

std::optional<PartFile::Kept> PartFile::find() const {
    removeOldParts();
    auto note = readNote(note_);
    if (!note || note->url != url_ || note->part != path_ || !isUntouched(*note)) return {};
    return Kept{note->size, std::move(note->tag)};
}

Result<void> PartFile::keep(const fs::path& came, const std::string& tag) const {
    std::error_code problem;
    fs::permissions(came, fs::perms::owner_read | fs::perms::owner_write, problem);
    if (!problem) fs::rename(came, path_, problem);
    struct stat entry {};
    if (problem || lstat(path_.c_str(), &entry) != 0) {
        return localError(Kind::local, "What came cannot be kept: " + problem.message() + ".");
    }
    return replaceOwnFile(note_, fmt::format("{}\n{}\n{}\n{}\n{}", entry.st_size, entry.st_mtime,
                                             tag, url_, path_.string()));
}

void PartFile::remove() const {
    const auto note = readNote(note_);
    if (!note) return;
    if (note->part == path_ && isUntouched(*note)) removeFile(path_);
    removeFile(note_);
}

}  // namespace quillon
