#include "platform/files/content.hpp"

#include <algorithm>
#include <cstring>
#include <memory>

namespace vxhost {
namespace {

namespace fs = std::filesystem;

constexpr size_t pieceBytes = size_t{128} * 1024;
constexpr const char* standardInput = "/dev/stdin";

// Passwords come through it, too.
struct Buffer {
    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { explicit_bzero(bytes.get(), used); }

    const std::unique_ptr<char[]> bytes = std::make_unique_for_overwrite<char[]>(pieceBytes);
    size_t used = 0;  // the most that ever were
};

}  // namespace

ssize_t readPiece(const Descriptor& file, char* buffer, size_t length, OnSignal onSignal) {
    for (;;) {
        const ssize_t got = ::read(file.number(), buffer, length);
        if (got >= 0 || errno != EINTR || onSignal == OnSignal::end) return got;
    }
}

int writeWhole(const Descriptor& file, std::string_view content, OnSignal onSignal) {
    while (!content.empty()) {
        const ssize_t written = ::write(file.number(), content.data(), content.size());
        if (written < 0 && (errno != EINTR || onSignal == OnSignal::end)) return errno;
        if (written > 0) content.remove_prefix(static_cast<size_t>(written));
    }
    return 0;
}

Descriptor openForReading(const fs::path& path) {
    const int number = path == standardInput ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                             : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return {number, "Cannot read " + path.string()};
}

void readPieces(const Descriptor& file, const fs::path& shown,
                const std::function<bool(std::string_view)>& take) {
    Buffer buffer;
    for (;;) {
        const ssize_t got = readPiece(file, buffer.bytes.get(), pieceBytes, OnSignal::end);
        if (got < 0) throwSystemFailure(errno, "Cannot read " + shown.string());
        if (got == 0) return;
        buffer.used = std::max(buffer.used, static_cast<size_t>(got));
        if (!take({buffer.bytes.get(), static_cast<size_t>(got)})) return;
    }
}

std::string readWhole(const Descriptor& file, const fs::path& shown, size_t most) {
    std::string text;
    readPieces(file, shown, [&](std::string_view piece) {
        if (piece.size() > most - text.size()) {
            throwSystemFailure(EFBIG, "Cannot read " + shown.string());
        }
        text += piece;
        return true;
    });
    return text;
}

void copyContent(const Descriptor& from, const fs::path& shownFrom, const Descriptor& to,
                 const fs::path& shownTo) {
    readPieces(from, shownFrom, [&](std::string_view piece) {
        const int error = writeWhole(to, piece, OnSignal::end);
        if (error != 0) throwSystemFailure(error, "Cannot write " + shownTo.string());
        return true;
    });
}

}  // namespace vxhost
