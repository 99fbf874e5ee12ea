#include "cli/session/password_file.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"

namespace quillon::cli {

namespace {

constexpr size_t mostPasswordBytes = 64 << 10;

// A pipe or a terminal is no place where others find it.
void tellIfReadByOthers(std::FILE* file, const std::string& path) {
    struct stat entry {};
    if (fstat(fileno(file), &entry) != 0 || !S_ISREG(entry.st_mode)) return;
    if ((entry.st_mode & 044) == 0) return;
    const std::string shown = path == "-" ? "the standard input" : path;
    complain(fmt::format("others can read {}, which holds a secret{}", shown,
                         path == "-" ? "" : fmt::format(": chmod 600 {}", shellWord(path))));
}

}  // namespace

Result<Secret> readPasswordFile(const std::string& path) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
    std::FILE* file = path == "-" ? stdin : opened.get();
    if (file == nullptr) {
        if (interrupted()) return interruption();
        return localError(Kind::local, "Cannot read the password file " + path + ": " +
                                           std::strerror(errno) + ".");
    }
    tellIfReadByOthers(file, path);
    // Without a buffer of the library's no copy of the password stays in one, and what follows the
    // line on a standard input is left to who reads on: the shell, or put.
    std::setvbuf(file, nullptr, _IONBF, 0);
    Secret line;
    for (int byte = std::fgetc(file); byte != EOF && byte != '\n'; byte = std::fgetc(file)) {
        if (line.size() == mostPasswordBytes) {
            return localError(Kind::local,
                              "The first line of " + path + " is too long for a password.");
        }
        line.append(static_cast<char>(byte));
    }
    if (interrupted()) return interruption();
    if (!line.empty() && line.view().back() == '\r') line.dropLast();
    if (line.empty()) {
        const std::string shown = path == "-" ? "standard input" : "password file " + path;
        return localError(Kind::local, "The " + shown + " holds no password.");
    }
    return line;
}

}  // namespace quillon::cli
