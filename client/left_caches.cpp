#include "client/left_caches.hpp"

#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "client/local_file.hpp"
#include "client/outcome.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/living_directory.hpp"
#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<fs::path>;

// Nothing when it cannot be read.
std::optional<Paths> entriesOf(const fs::path& folder) {
    std::error_code problem;
    Paths entries;
    for (fs::directory_iterator entry(folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        entries.push_back(entry->path());
    }
    return problem ? std::nullopt : std::optional(std::move(entries));
}

bool isFile(const fs::path& path) {
    std::error_code none;
    return fs::symlink_status(path, none).type() == fs::file_type::regular;
}

// Adds what may be somebody's work. False: a program still works there.
bool addWork(const fs::path& folder, Paths& work) {
    const auto taken = vxhost::takeLeftDirectory(folder);
    const auto files = taken ? entriesOf(folder) : std::nullopt;
    if (!files) return false;
    fs::path original = folder;
    original.replace_extension();  // workSuffix is the last one
    bool untouched = files->size() == 1 && isFile(files->front()) && isFile(original);
    if (untouched) {
        const Result<bool> same = sameContent(files->front(), original);
        untouched = same && *same;
    }
    if (!untouched) work.insert(work.end(), files->begin(), files->end());
    return true;
}

// A file beside which no folder of work lies can be what a program of the person's own wrote there:
// only an empty one says nothing.
bool mayBeWork(const fs::path& path) {
    std::error_code none;
    const fs::path folder = path.string().append(workSuffix);
    return !isFile(path) || (!fs::exists(folder, none) && fs::file_size(path, none) > 0);
}

// What may be work in the cache; nothing when somebody lives there.
std::optional<Paths> workIn(const fs::path& cache) {
    const auto entries = entriesOf(cache);
    if (!entries) return std::nullopt;
    Paths work;
    for (const fs::path& entry : *entries) {
        std::error_code none;
        const auto type = fs::symlink_status(entry, none).type();
        if (type == fs::file_type::symlink) continue;  // to a file that put was given
        if (type == fs::file_type::directory && entry.extension() == workSuffix) {
            if (!addWork(entry, work)) return std::nullopt;
        } else if (mayBeWork(entry)) {
            work.push_back(entry);
        }
    }
    return work;
}

// hiddenPrefix and a random name.
bool isFetchFolder(std::string_view name) {
    const std::string_view prefix = vxhost::hiddenPrefix;
    if (!name.starts_with(prefix)) return false;
    name.remove_prefix(prefix.size());
    return name.size() == 32 && name.find_first_not_of("0123456789abcdef") == name.npos;
}

}  // namespace

struct FolderHold::Open {
    vxhost::Descriptor folder;
};

Result<FolderHold> FolderHold::take(const fs::path& folder) {
    return caught([&]() -> Result<FolderHold> {
        return FolderHold(std::make_unique<Open>(Open{vxhost::holdDirectory(folder)}));
    });
}

FolderHold::FolderHold(std::unique_ptr<Open> open) : open_(std::move(open)) {}
FolderHold::FolderHold(FolderHold&&) noexcept = default;
FolderHold::~FolderHold() = default;

int FolderHold::descriptor() const {
    return open_->folder.number();
}

Paths removeLeftCaches() {
    const fs::path root = vxhost::cacheHome();
    const Result<void> own = caught([&]() -> Result<void> {
        vxhost::checkOwnDirectory(root);
        return {};
    });
    Paths kept;
    if (!own) return kept;  // which is said when the next cache is made
    for (const fs::path& cache : entriesOf(root).value_or(Paths())) {
        if (!cache.filename().string().starts_with(vxhost::cachePrefix)) continue;
        const auto taken = vxhost::takeLeftDirectory(cache);
        const auto work = taken ? workIn(cache) : std::nullopt;
        if (!work) continue;
        std::error_code none;
        if (work->empty()) fs::remove_all(cache, none);
        kept.insert(kept.end(), work->begin(), work->end());
    }
    return kept;
}

void removeLeftFetches(const fs::path& place) {
    for (const fs::path& entry : entriesOf(place).value_or(Paths())) {
        if (!isFetchFolder(entry.filename().native())) continue;
        const auto taken = vxhost::takeLeftDirectory(entry);
        std::error_code none;
        if (taken) fs::remove_all(entry, none);
    }
}

}  // namespace quillon
