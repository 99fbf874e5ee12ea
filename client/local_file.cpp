#include "client/local_file.hpp"

#include <fstream>
#include <string>

#include "client/outcome.hpp"
#include "platform/files/content.hpp"
#include "platform/files/place_file.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

vxhost::Naming hostNaming(Naming naming) {
    return naming == Naming::byPerson ? vxhost::Naming::byPerson : vxhost::Naming::byOthers;
}

}  // namespace

Result<fs::path> resolvePlace(const fs::path& destination, Naming naming) {
    return caught([&]() -> Result<fs::path> {
        return vxhost::resolvePlace(destination, hostNaming(naming));
    });
}

Result<void> putInPlace(const fs::path& source, const fs::path& destination, Naming naming,
                        std::optional<Time> modified) {
    return caught([&]() -> Result<void> {
        vxhost::placeFile(source, destination, hostNaming(naming),
                          modified ? std::optional(timespecOf(*modified)) : std::nullopt);
        return {};
    });
}

Result<void> linkOrCopy(const fs::path& source, const fs::path& path) {
    return caught([&]() -> Result<void> {
        vxhost::linkOrCopy(source, path);
        return {};
    });
}

Result<void> readPieces(const fs::path& path, const std::function<bool(std::string_view)>& take) {
    return caught([&]() -> Result<void> {
        vxhost::readPieces(vxhost::openForReading(path), path, take);
        return {};
    });
}

Result<bool> sameContent(const fs::path& file, const fs::path& other) {
    std::ifstream expectedFile(other, std::ios::binary);
    bool same = expectedFile.is_open();
    std::string expected;
    const Result<void> read = readPieces(file, [&](std::string_view piece) {
        expected.resize(piece.size());
        expectedFile.read(expected.data(), static_cast<std::streamsize>(expected.size()));
        same = expectedFile.good() && piece == expected;
        return same;
    });
    if (!read) return read.error();
    const bool both = expectedFile.peek() == std::ifstream::traits_type::eof();
    return same && both && !expectedFile.bad();
}

}  // namespace quillon
