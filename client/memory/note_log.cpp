#include "client/memory/note_log.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "client/own_file.hpp"
#include "platform/base/descriptor.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/wait_for_lock.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view forgotten = "-";        // in the place of a note
constexpr size_t fullLogBytes = size_t{64} << 10;  // all of it is read when the store is opened

fs::path logPath() {
    return stateDirectory() / "notes.log";
}

vxhost::Descriptor openLocked(const fs::path& path) {
    vxhost::makePrivateDirectories(path.parent_path());
    const int flags = O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC;
    vxhost::Descriptor file(open(path.c_str(), flags, 0600), "Cannot write " + path.string());
    vxhost::waitForLock(file, path);
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

std::optional<LoggedNotes> LoggedNotes::read() {
    const fs::path path = logPath();
    const int flags = O_NOFOLLOW | O_CLOEXEC;
    int number = open(path.c_str(), O_RDWR | flags);
    // Where nobody may write it can still be read.
    if (number < 0 && errno != ENOENT) number = open(path.c_str(), O_RDONLY | flags);
    if (number < 0 && errno == ENOENT) return {};
    vxhost::Descriptor file(number, "Cannot read " + path.string());
    if (sizeOf(file) == 0) return {};
    vxhost::waitForLock(file, path);
    return LoggedNotes(std::move(file));
}

LoggedNotes::LoggedNotes(vxhost::Descriptor file)
    : file_(std::move(file)), changes_(changesIn(file_, logPath())) {}

const std::optional<FileNote>* LoggedNotes::find(const fs::path& file) const {
    const auto latest = std::find_if(changes_.rbegin(), changes_.rend(),
                                     [&](const auto& change) { return change.first == file; });
    return latest == changes_.rend() ? nullptr : &latest->second;
}

void LoggedNotes::clear() {
    if (ftruncate(file_.number(), 0) != 0) {
        vxhost::throwSystemFailure(errno, "Cannot write " + logPath().string());
    }
}

}  // namespace quillon
