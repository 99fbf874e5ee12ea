#include "cli/commands/change/work_copy.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "client/local_file.hpp"
#include "client/memory/remembered_copy.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr int mostNumbers = 1000;

Error failure(std::string_view what, const fs::path& path, const std::error_code& problem) {
    return localError(Kind::local,
                      fmt::format("Cannot {} {}: {}.", what, path.string(), problem.message()));
}

fs::path snapshotOf(fs::path original) {
    return original += ".saved";
}

// Extensions survive, for editors go by them.
std::string localName(std::string name) {
    std::replace(name.begin(), name.end(), '/', '_');
    std::replace(name.begin(), name.end(), '\0', '_');
    return name.empty() || name == "." || name == ".." ? "member" : name;
}

std::vector<fs::path> placesToSave() {
    std::error_code none;
    std::vector<fs::path> places{fs::current_path(none)};
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        places.emplace_back(home);
    }
    places.push_back(fs::temp_directory_path(none));
    return places;
}

// A name that nobody has, taken at once; empty: nothing can be made there.
fs::path reserveName(const fs::path& place, const std::string& name) {
    const fs::path plain(name);
    for (int number = 0; number < mostNumbers; ++number) {
        const std::string marked = number == 0 ? fmt::format("{}.mine{}", plain.stem().string(),
                                                             plain.extension().string())
                                               : fmt::format("{}.mine-{}{}", plain.stem().string(),
                                                             number, plain.extension().string());
        fs::path path = place / marked;
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file >= 0) {
            close(file);
            return path;
        }
        if (errno != EEXIST) return {};
    }
    return {};
}

Result<fs::path> saveFile(const fs::path& file) {
    Error last = localError(Kind::local, "There is no place for it.");
    for (const fs::path& place : placesToSave()) {
        fs::path path = reserveName(place, file.filename().string());
        if (path.empty()) continue;
        Result<void> moved = putInPlace(file, path, Naming::byOthers);
        if (moved) return path;
        last = std::move(moved).error();
        std::error_code none;
        fs::remove(path, none);
    }
    return last;
}

}  // namespace

Result<WorkCopy> WorkCopy::make(const fs::path& original, const std::string& name) {
    std::error_code problem;
    fs::path folder = original;
    folder += workSuffix;
    fs::create_directory(folder, problem);
    if (problem) return failure("make the folder", folder, problem);
    fs::permissions(folder, fs::perms::owner_all, problem);
    Result<FolderHold> hold = FolderHold::take(folder);
    if (!hold) return std::move(hold).error();
    WorkCopy copy(original, folder / localName(name), std::move(*hold));
    fs::copy_file(original, copy.file_, problem);
    if (problem) return failure("write", copy.file_, problem);
    return copy;
}

WorkCopy::~WorkCopy() {
    std::error_code none;
    if (!file_.empty()) fs::remove_all(file_.parent_path(), none);
}

Result<bool> WorkCopy::changed() const {
    std::error_code problem;
    if (!fs::exists(file_, problem)) return false;
    // An original that cannot be read is no proof that nothing changed: it counts as another one.
    const Result<bool> same = sameContent(file_, original_);
    if (!same) return same.error();
    return !*same;
}

Result<std::optional<fs::path>> WorkCopy::takeSnapshot() const {
    const Result<bool> isOther = changed();
    if (!isOther) return isOther.error();
    if (!*isOther) return std::optional<fs::path>();
    const std::optional<LocalEntry> before = lookAtFile(file_);
    fs::path snapshot = snapshotOf(original_);
    std::error_code problem;
    fs::copy_file(file_, snapshot, fs::copy_options::overwrite_existing, problem);
    if (problem) return failure("write", snapshot, problem);
    const std::optional<LocalEntry> after = lookAtFile(file_);
    if (before && after && isSameVersion(*before, *after)) return std::optional(snapshot);
    fs::remove(snapshot, problem);
    return std::optional<fs::path>();
}

void WorkCopy::endSnapshot(bool wasStored) const {
    std::error_code none;
    if (wasStored) {
        fs::rename(snapshotOf(original_), original_, none);
    } else {
        fs::remove(snapshotOf(original_), none);
    }
}

Result<fs::path> WorkCopy::save() const {
    return saveFile(file_);
}

std::vector<fs::path> WorkCopy::saveLeftovers() const {
    std::vector<fs::path> saved;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(file_.parent_path(), none)) {
        if (entry.path() == file_ || !entry.is_regular_file(none)) continue;
        Result<fs::path> path = saveFile(entry.path());
        if (path) saved.push_back(std::move(*path));
    }
    return saved;
}

}  // namespace quillon::cli
