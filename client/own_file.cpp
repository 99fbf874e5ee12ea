#include "client/own_file.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <system_error>
#include <utility>

#include "client/outcome.hpp"
#include "platform/files/complete_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr size_t MOST_BYTES = size_t{16} << 20;

}  // namespace

fs::path configDirectory() {
    return vxhost::configHome();
}

fs::path stateDirectory() {
    return vxhost::stateHome();
}

Result<std::optional<OwnText>> readOwnFile(const fs::path& path) {
    return caught([&]() -> Result<std::optional<OwnText>> {
        std::error_code none;
        if (!fs::exists(path, none) && !none) return std::optional<OwnText>();
        vxhost::checkOwnDirectory(path.parent_path());
        const vxhost::Descriptor file(path, O_RDONLY);
        struct stat entry {};
        if (fstat(file.number(), &entry) != 0) vxhost::throwSystemFailure(errno, path);
        if (entry.st_uid != geteuid()) {
            return localError(Kind::local, fmt::format("{} is not your own, so it is not used. "
                                                       "Make it yours, or move it away.",
                                                       path.string()));
        }
        if ((entry.st_mode & 022) != 0) {
            return localError(Kind::local, fmt::format("Others can change {0}, so it is not used. "
                                                       "Look through it, then: chmod 600 {0}",
                                                       path.string()));
        }
        return std::optional(
            OwnText{vxhost::readWhole(file, path, MOST_BYTES), (entry.st_mode & 044) != 0});
    });
}

Result<void> replaceOwnFile(const fs::path& path, std::string_view content) {
    return caught([&]() -> Result<void> {
        vxhost::makePrivateDirectories(path.parent_path());
        std::error_code none;
        const fs::path target = fs::canonical(path, none);
        vxhost::CompleteFile(none ? path : target, content).replaceDestination();
        return {};
    });
}

}  // namespace quillon
