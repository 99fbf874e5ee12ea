#include "client/left_caches.hpp"

#include <sys/stat.h>

#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "client/outcome.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/living_directory.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<fs::path>;

// Of a cache, or of a folder in it; nothing when it cannot be read, or somebody works in there.
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

bool sameContent(const fs::path& a, const fs::path& b) {
    try {
        const vxhost::Descriptor other(b, O_RDONLY | O_NOFOLLOW);
        const vxhost::Descriptor one(a, O_RDONLY | O_NOFOLLOW);
        std::string expected;
        bool same = true;
        vxhost::readPieces(one, a, [&](std::string_view piece) {
            expected.resize(piece.size());
            size_t got = 0;
            while (got < piece.size()) {
                const ssize_t more = vxhost::readPiece(other, expected.data() + got,
                                                       piece.size() - got, vxhost::OnSignal::end);
                if (more <= 0) break;
                got += static_cast<size_t>(more);
            }
            same = got == piece.size() && expected == piece;
            return same;
        });
        char next = 0;
        return same && vxhost::readPiece(other, &next, 1, vxhost::OnSignal::end) == 0;
    } catch (const vxhost::Failure&) {  // what cannot be compared may differ
        return false;
    }
}

// Adds what may be somebody's work. False: a program still works there.
bool addWork(const fs::path& folder, Paths& work) {
    const auto taken = vxhost::takeLeftDirectory(folder);
    const auto files = taken ? entriesOf(folder) : std::nullopt;
    if (!files) return false;
    fs::path original = folder;
    original.replace_extension();  // workSuffix is the last one
    const bool untouched = files->size() == 1 && isFile(files->front()) && isFile(original) &&
                           sameContent(files->front(), original);
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
    Paths kept;
    for (const fs::path& cache : entriesOf(vxhost::cacheHome()).value_or(Paths())) {
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

}  // namespace quillon
