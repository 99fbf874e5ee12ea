#include "client/memory/note_log.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>

#include "client/own_file.hpp"
#include "platform/base/descriptor.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view forgotten = "-";        // in the place of a note
constexpr size_t fullLogBytes = size_t{64} << 10;  // all of it is read when the store is opened

fs::path logPath() {
    return stateDirectory() / "notes.log";
}

// Its lock goes with it.
vxhost::Descriptor openLocked(const fs::path& path) {
    vxhost::makePrivateDirectories(path.parent_path());
    const int flags = O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC;
    vxhost::Descriptor file(open(path.c_str(), flags, 0600), "Cannot write " + path.string());
    while (flock(file.number(), LOCK_EX) != 0) {
        if (errno != EINTR) vxhost::throwSystemFailure(errno, "Cannot lock " + path.string());
    }
    return file;
}

size_t sizeOf(const vxhost::Descriptor& file) {
    struct stat found {};
    fstat(file.number(), &found);
    return static_cast<size_t>(found.st_size);
}

// A line begins anew behind one that a power cut left without its end.
std::string lineOf(const NoteStore::Change& change) {
    const auto& [path, note] = change;
    return '\n' + vxhost::encodeSegment(path.native()) + ' ' +
           (note ? vxhost::encodeSegment(textOf(*note)) : std::string(forgotten)) + '\n';
}

std::vector<NoteStore::Change> changesIn(std::string_view text) {
    std::vector<NoteStore::Change> changes;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const size_t space = line.find(' ');
        if (space == line.npos) continue;
        fs::path path = vxhost::segmentBytes(line.substr(0, space));
        const std::string note = vxhost::segmentBytes(line.substr(space + 1));
        std::optional<FileNote> parsed = parseNote(note);
        if (parsed || note == forgotten) changes.emplace_back(std::move(path), std::move(parsed));
    }
    return changes;
}

// What somebody else made of it may be longer.
std::vector<NoteStore::Change> changesIn(const vxhost::Descriptor& file, const fs::path& path) {
    std::string text;
    vxhost::readPieces(file, path, [&text](std::string_view piece) {
        text += piece.substr(0, fullLogBytes - text.size());
        return text.size() < fullLogBytes;
    });
    return changesIn(text);
}

}  // namespace

bool logNotes(const std::vector<NoteStore::Change>& changes) {
    std::string text;
    for (const NoteStore::Change& change : changes) text += lineOf(change);
    const fs::path path = logPath();
    const vxhost::Descriptor file = openLocked(path);
    const size_t size = sizeOf(file);
    if (size + text.size() > fullLogBytes) return false;
    if (const int error = vxhost::writeWhole(file, text)) {
        (void)!ftruncate(file.number(), static_cast<off_t>(size));
        vxhost::throwSystemFailure(error, "Cannot write " + path.string());
    }
    return true;
}

std::optional<std::optional<FileNote>> findLoggedNote(const fs::path& file) {
    const fs::path path = logPath();
    const int number = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (number < 0 && errno == ENOENT) return {};
    std::optional<std::optional<FileNote>> found;
    for (auto& change : changesIn({number, "Cannot read " + path.string()}, path)) {
        if (change.first == file) found = std::move(change.second);
    }
    return found;
}

bool hasLoggedNotes() {
    std::error_code none;
    const uintmax_t size = fs::file_size(logPath(), none);
    return !none && size > 0;
}

void takeLoggedNotes(const std::function<void(const std::vector<NoteStore::Change>&)>& take) {
    const fs::path path = logPath();
    const vxhost::Descriptor file = openLocked(path);
    const auto changes = changesIn(file, path);
    if (!changes.empty()) take(changes);
    if (ftruncate(file.number(), 0) != 0) {
        vxhost::throwSystemFailure(errno, "Cannot write " + path.string());
    }
}

}  // namespace quillon
