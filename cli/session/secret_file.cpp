#include "cli/session/secret_file.hpp"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/session/sources.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"

namespace quillon::cli {
namespace {

constexpr size_t mostSecretBytes = 64 << 10;

}  // namespace

// A pipe or a terminal is no place where others find it.
void tellIfOpenToOthers(const std::string& path, std::string_view what) {
    const bool isInput = path == "-";
    struct stat entry {};
    if ((isInput ? fstat(STDIN_FILENO, &entry) : stat(path.c_str(), &entry)) != 0) return;
    const bool isRead = (entry.st_mode & 044) != 0, isWritten = (entry.st_mode & 022) != 0;
    if (!S_ISREG(entry.st_mode) || !(isRead || isWritten)) return;
    const std::string_view deed = !isWritten ? "read" : isRead ? "read and change" : "change";
    complain(fmt::format("others can {} {}, which holds a {}{}", deed,
                         isInput ? "the standard input" : path, what,
                         isInput ? "" : fmt::format(": chmod 600 {}", shellWord(path))));
}

Result<Secret> readSecretFile(const std::string& path, std::string_view what) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
    std::FILE* file = path == "-" ? stdin : opened.get();
    if (file == nullptr) {
        if (interrupted()) return interruption();
        return localError(Kind::local, fmt::format("Cannot read the {} file {}: {}.", what, path,
                                                   std::strerror(errno)));
    }
    tellIfOpenToOthers(path, what);
    // Without a buffer of the library's no copy of the secret stays in one, and what follows the
    // line on a standard input is left to who reads on: the shell, or put.
    std::setvbuf(file, nullptr, _IONBF, 0);
    Secret line;
    for (int byte = std::fgetc(file); byte != EOF && byte != '\n'; byte = std::fgetc(file)) {
        if (line.size() == mostSecretBytes) {
            return localError(
                Kind::local, fmt::format("The first line of {} is too long for a {}.", path, what));
        }
        line.append(static_cast<char>(byte));
    }
    if (interrupted()) return interruption();
    if (std::ferror(file) != 0) {
        return localError(Kind::local, fmt::format("Cannot read the {} file {}: {}.", what, path,
                                                   std::strerror(errno)));
    }
    if (!line.empty() && line.view().back() == '\r') line.dropLast();
    const std::string shown =
        path == "-" ? "standard input" : fmt::format("{} file {}", what, path);
    if (line.empty()) {
        return localError(Kind::local, fmt::format("The {} holds no {}.", shown, what));
    }
    return oneLine(std::move(line), fmt::format("The first line of the {}", shown));
}

}  // namespace quillon::cli
